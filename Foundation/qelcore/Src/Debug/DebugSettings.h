#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qelcore
{
namespace debug
{

/// Takes "key=value;key=value" apart, in the order of the text. See DebugDatabase for the rules.
std::vector<std::pair<std::string, std::string>> ParseDebugSettings(std::string_view inText);

/// Total readings: nothing unless the whole text is such a number, within range.
std::optional<int> ReadInt(std::string_view inText);
std::optional<float> ReadFloat(std::string_view inText);

} // namespace debug
} // namespace qelcore
