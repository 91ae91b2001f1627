#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// Bytes as text: the base64 alphabet with padding, on one line (RFC 4648, section 4). Each block of bytes
// has exactly one text, so what decodes is what encoding gave: no blanks, no line ends, no padding left
// out, no spare bits set.
//
// Threads  Free functions without state.
// Errors   std::bad_alloc, with the output as it was.
namespace qelcore
{
namespace utility
{

/// @param inBytes  may be null if inSize is 0.
/// @param outText  replaced: four characters for each three bytes begun.
/// @return false if there are more bytes than a text can hold; then outText is as it was.
RK_API bool EncodeBinaryDataToUTF8String(const void* inBytes, std::size_t inSize,
                                         UTF8String& outText);
/// @param outBytes  replaced on success, untouched otherwise.
/// @return false if the text is none that encoding gives.
RK_API bool DecodeBinaryDataFromUTF8String(const UTF8String& inText,
                                           std::vector<std::uint8_t>& outBytes);

} // namespace utility
} // namespace qelcore
