#include "PathText.h"

namespace qelcore
{
namespace filesupport
{

UTF16String JoinPath(const UTF16String& inFolder, const UTF16String& inName)
{
    UTF16String path;
    path.reserve(inFolder.size() + 1 + inName.size());
    path = inFolder;
    if (!path.empty() && path.back() != u'/')
        path += u'/';
    path += inName;
    return path;
}

UTF16String WithoutTrailingSlashes(const UTF16String& inPath)
{
    std::size_t size = inPath.size();
    while (size > 1 && inPath[size - 1] == u'/')
        --size;
    return inPath.substr(0, size);
}

UTF16String LastComponent(const UTF16String& inPath)
{
    const std::size_t slash = inPath.rfind(u'/');
    return slash == UTF16String::npos ? inPath : inPath.substr(slash + 1);
}

UTF16String ParentPath(const UTF16String& inPath)
{
    const UTF16String path = WithoutTrailingSlashes(inPath);
    const std::size_t slash = path.rfind(u'/');
    if (slash == UTF16String::npos)
        return UTF16String();
    return WithoutTrailingSlashes(path.substr(0, slash + 1));
}

} // namespace filesupport
} // namespace qelcore
