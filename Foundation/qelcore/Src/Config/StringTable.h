#pragma once

#include <map>
#include <string>
#include <string_view>

#include "qelcore/Localizer.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace config
{

// The texts of one or more tables, by key in UTF-8.
using StringTable = std::map<std::string, UTF16String, std::less<>>;

/// Reads a table in the form that Localizer.h describes. @return false for a bad one, and then
/// outTable is empty and outError says what was wrong first.
bool ParseStringTable(std::string_view inBytes, StringTable& outTable, StringTableError& outError);

} // namespace config
} // namespace qelcore
