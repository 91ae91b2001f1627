#pragma once

#include <cstdint>
#include <string_view>

#include <boost/optional.hpp>

namespace Platform
{

/// Cuts the first line off the front of ioText, without its line end.
std::string_view TakeLine(std::string_view& ioText);

/// The number that inText begins with, after blanks. None if it does not, or if it passes 64 bits.
boost::optional<std::uint64_t> LeadingNumber(std::string_view inText);

/// The number behind "key" and one of the characters ":", blank or tab at the beginning of a line.
/// None if there is no such line, or no number in it.
boost::optional<std::uint64_t> NumberOfKey(std::string_view inText, std::string_view inKey);

/// The same for lines whose numbers are in kB, in bytes.
boost::optional<std::uint64_t> BytesOfKey(std::string_view inText, std::string_view inKey);

} // namespace Platform
