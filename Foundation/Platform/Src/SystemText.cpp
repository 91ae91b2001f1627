#include "SystemText.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace Platform
{

std::string_view TakeLine(std::string_view& ioText)
{
    const std::size_t end = ioText.find('\n');
    const std::string_view line = ioText.substr(0, end);
    ioText.remove_prefix(end == std::string_view::npos ? ioText.size() : end + 1);
    return line;
}

boost::optional<std::uint64_t> LeadingNumber(std::string_view inText)
{
    const std::size_t begin = inText.find_first_not_of(" \t");
    if (begin == std::string_view::npos)
        return boost::none;
    std::uint64_t number = 0;
    const std::from_chars_result result =
        std::from_chars(inText.data() + begin, inText.data() + inText.size(), number);
    if (result.ec != std::errc())
        return boost::none;
    return number;
}

boost::optional<std::uint64_t> NumberOfKey(std::string_view inText, std::string_view inKey)
{
    while (!inText.empty())
    {
        const std::string_view line = TakeLine(inText);
        if (line.size() <= inKey.size() || line.substr(0, inKey.size()) != inKey)
            continue;
        const char after = line[inKey.size()];
        if (after == ':' || after == ' ' || after == '\t')
            return LeadingNumber(line.substr(inKey.size() + 1));
    }
    return boost::none;
}

boost::optional<std::uint64_t> BytesOfKey(std::string_view inText, std::string_view inKey)
{
    const boost::optional<std::uint64_t> kilobytes = NumberOfKey(inText, inKey);
    if (!kilobytes || *kilobytes > std::numeric_limits<std::uint64_t>::max() / 1024)
        return boost::none;
    return *kilobytes * 1024;
}

} // namespace Platform
