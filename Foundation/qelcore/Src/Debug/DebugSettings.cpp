#include "DebugSettings.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace qelcore
{
namespace debug
{
namespace
{

std::string_view WithoutBlanks(std::string_view inText)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = inText.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return inText.substr(first, inText.find_last_not_of(kBlanks) - first + 1);
}

template <class T>
std::optional<T> ReadNumber(std::string_view inText)
{
    T number{};
    const char* const end = inText.data() + inText.size();
    const std::from_chars_result result = std::from_chars(inText.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return number;
}

} // namespace

std::vector<std::pair<std::string, std::string>> ParseDebugSettings(std::string_view inText)
{
    std::vector<std::pair<std::string, std::string>> settings;
    while (!inText.empty())
    {
        const std::size_t end = inText.find(';');
        const std::string_view piece = inText.substr(0, end);
        inText.remove_prefix(end == std::string_view::npos ? inText.size() : end + 1);
        const std::size_t equals = piece.find('=');
        if (equals == std::string_view::npos)
            continue;
        const std::string_view key = WithoutBlanks(piece.substr(0, equals));
        if (!key.empty())
            settings.emplace_back(key, WithoutBlanks(piece.substr(equals + 1)));
    }
    return settings;
}

std::int32_t NextChangeCount(std::int32_t inCount) noexcept
{
    return inCount == std::numeric_limits<std::int32_t>::max() ? 0 : inCount + 1;
}

std::optional<int> ReadInt(std::string_view inText)
{
    return ReadNumber<int>(inText);
}

std::optional<float> ReadFloat(std::string_view inText)
{
    const std::optional<float> number = ReadNumber<float>(inText);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

} // namespace debug
} // namespace qelcore
