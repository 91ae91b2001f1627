#include "DataCacheItemName.h"

#include <algorithm>

namespace RK
{

using qelcore::UTF16String;
using qelcore::utility::ImmutableString;

namespace
{

bool StaysInFolder(std::u16string_view inName)
{
    if (inName.front() == u'/' || inName.find(u'\0') != std::u16string_view::npos)
        return false;
    for (std::size_t start = 0; start <= inName.size();)
    {
        const std::size_t end = std::min(inName.find(u'/', start), inName.size());
        if (inName.substr(start, end - start) == u"..")
            return false;
        start = end + 1;
    }
    return true;
}

bool IsExtension(std::string_view inText)
{
    return inText.size() == kDataCacheFileExtensionWithSeparator.size() - 1 &&
           ImmutableString::CreateDynamic(inText.data(), inText.size()) == kDataCacheFileExtension;
}

bool IsExtension(std::u16string_view inText)
{
    return inText.size() == kDataCacheFileExtensionWithSeparator.size() - 1 &&
           ImmutableString::CreateDynamic(inText.data(), inText.size()) == kDataCacheFileExtension;
}

template <class Unit>
ItemName<Unit> Parse(std::basic_string_view<Unit> inName)
{
    constexpr auto kNone = std::basic_string_view<Unit>::npos;
    const std::size_t extension = inName.rfind(Unit{'.'});
    if (extension == kNone || !IsExtension(inName.substr(extension + 1)))
        return {};
    const std::basic_string_view<Unit> item = inName.substr(0, extension);
    const std::size_t dot = item.rfind(Unit{'.'});
    if (dot == kNone)
        return {item, {}};
    return {item.substr(0, dot), item.substr(dot + 1)};
}

} // namespace

bool AssembleItemPath(const UTF16String& inFolder, const ImmutableString& inKey,
                      const ImmutableString& inSubKey, UTF16String& outPath)
{
    const UTF16String key = inKey.ToString();
    const UTF16String subKey = inSubKey.ToString();
    UTF16String path;
    path.reserve(inFolder.size() + 1 + key.size() + 1 + subKey.size() +
                 kDataCacheFileExtensionWithSeparator.size());
    path.append(inFolder).append(1, u'/').append(key);
    if (!subKey.empty())
        path.append(1, u'.').append(subKey);
    path.append(kDataCacheFileExtensionWithSeparator);
    if (!StaysInFolder(std::u16string_view(path.data(), path.size()).substr(inFolder.size() + 1)))
        return false;
    outPath.swap(path);
    return true;
}

ItemName<char> ParseItemName(std::string_view inFileName)
{
    return Parse(inFileName);
}

ItemName<char16_t> ParseItemName(std::u16string_view inFileName)
{
    return Parse(inFileName);
}

} // namespace RK
