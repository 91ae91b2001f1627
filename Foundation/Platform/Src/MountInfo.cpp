#include "MountInfo.h"

#include <charconv>
#include <string>

namespace Platform
{
namespace
{

/// Cuts the text up to inSeparator off the front of ioText.
std::string_view TakeUntil(std::string_view& ioText, char inSeparator)
{
    const std::size_t end = ioText.find(inSeparator);
    const std::string_view taken = ioText.substr(0, end);
    ioText.remove_prefix(end == std::string_view::npos ? ioText.size() : end + 1);
    return taken;
}

bool ReadNumber(std::string_view inText, std::uint64_t& outNumber)
{
    const char* const end = inText.data() + inText.size();
    const std::from_chars_result result = std::from_chars(inText.data(), end, outNumber);
    return result.ec == std::errc() && result.ptr == end;
}

bool IsOctal(char inCharacter)
{
    return inCharacter >= '0' && inCharacter <= '7';
}

// id parent major:minor root mount-point options tag... - type source super-options
bool ParseLine(std::string_view inLine, Mount& outMount)
{
    if (!ReadNumber(TakeUntil(inLine, ' '), outMount.id) ||
        !ReadNumber(TakeUntil(inLine, ' '), outMount.parentID))
        return false;
    TakeUntil(inLine, ' ');
    outMount.root = UnescapeOctal(TakeUntil(inLine, ' '));
    outMount.mountPoint = UnescapeOctal(TakeUntil(inLine, ' '));
    outMount.options = UnescapeOctal(TakeUntil(inLine, ' '));
    while (!inLine.empty() && TakeUntil(inLine, ' ') != "-")
    {
    }
    outMount.type = UnescapeOctal(TakeUntil(inLine, ' '));
    outMount.source = UnescapeOctal(TakeUntil(inLine, ' '));
    outMount.superOptions = UnescapeOctal(TakeUntil(inLine, ' '));
    return !outMount.mountPoint.empty() && outMount.mountPoint[0] == '/' && !outMount.type.empty();
}

} // namespace

std::string UnescapeOctal(std::string_view inText)
{
    std::string text;
    text.reserve(inText.size());
    for (std::size_t i = 0; i < inText.size(); ++i)
    {
        const bool escape = inText[i] == '\\' && i + 3 < inText.size() && inText[i + 1] <= '3' &&
                            IsOctal(inText[i + 1]) && IsOctal(inText[i + 2]) &&
                            IsOctal(inText[i + 3]);
        if (!escape)
        {
            text += inText[i];
            continue;
        }
        const int value =
            (inText[i + 1] - '0') * 64 + (inText[i + 2] - '0') * 8 + (inText[i + 3] - '0');
        text += static_cast<char>(value);
        i += 3;
    }
    return text;
}

std::vector<Mount> ParseMountInfo(std::string_view inText)
{
    std::vector<Mount> mounts;
    while (!inText.empty())
    {
        Mount mount;
        if (ParseLine(TakeUntil(inText, '\n'), mount))
            mounts.push_back(std::move(mount));
    }
    return mounts;
}

bool IsAtOrBelow(std::string_view inPath, std::string_view inFolder)
{
    if (inPath.substr(0, inFolder.size()) != inFolder)
        return false;
    return inPath.size() == inFolder.size() || inFolder == "/" || inPath[inFolder.size()] == '/';
}

const Mount* FindMountByText(const std::vector<Mount>& inMounts, std::string_view inPath)
{
    const Mount* best = nullptr;
    for (const Mount& mount : inMounts)
    {
        // Of two mounts on one folder the later one is on top.
        if (IsAtOrBelow(inPath, mount.mountPoint) &&
            (best == nullptr || mount.mountPoint.size() >= best->mountPoint.size()))
            best = &mount;
    }
    return best;
}

} // namespace Platform
