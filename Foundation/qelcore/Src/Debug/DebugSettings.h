#pragma once

#include <cstdint>
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

/// The count that follows inCount: never negative, so that -1 can stand for "not seen yet".
std::int32_t NextChangeCount(std::int32_t inCount) noexcept;

/// Total readings: nothing unless the whole text is such a number, within range.
std::optional<int> ReadInt(std::string_view inText);
std::optional<float> ReadFloat(std::string_view inText);

} // namespace debug
} // namespace qelcore
