#pragma once

#include <string>

#include "qelcore/SmallBlockAllocator.h"

namespace qelcore
{

/// The text type of paths, messages and names: UTF-16 in 16-bit units.
using UTF16String = std::basic_string<char16_t, std::char_traits<char16_t>, STLAllocator<char16_t>>;

/// 8-bit units, for debug keys, JSON and trace text.
using UTF8Unit = unsigned char;
class UTF8Traits; // TODO by the text owner: complete traits here
using UTF8String = std::basic_string<UTF8Unit, std::char_traits<UTF8Unit>, STLAllocator<UTF8Unit>>;

} // namespace qelcore
