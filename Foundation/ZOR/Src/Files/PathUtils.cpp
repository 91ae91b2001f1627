#include "ZOR/PathUtils.h"

#include <algorithm>
#include <string>
#include <vector>

#include "FileError.h"
#include "Platform/FileSystem.h"
#include "qelcore/FileUtils.h"
#include "qelcore/TextConversion.h"

namespace ZOR
{
namespace PathUtils
{
namespace
{

using qelcore::UTF16String;

/// Where the file part begins.
std::size_t FileStart(const UTF16String& inPath)
{
    const std::size_t slash = inPath.rfind(u'/');
    return slash == UTF16String::npos ? 0 : slash + 1;
}

/// Where the extension begins; the path's length if there is none.
std::size_t ExtensionStart(const UTF16String& inPath)
{
    const std::size_t start = FileStart(inPath);
    const std::size_t dot = inPath.rfind(u'.');
    const bool isExtension = dot != UTF16String::npos && dot > start &&
                             inPath.compare(start, UTF16String::npos, u"..") != 0;
    return isExtension ? dot : inPath.size();
}

UTF16String CurrentFolder()
{
    std::string path;
    Platform::FileSystem().CurrentDirectory(path); // a folder that was removed has no path
    return qelcore::utility::FileNameToUTF16(path);
}

/// The components of a path that count, "." and ".." worked out.
std::vector<UTF16String> Components(const UTF16String& inPath)
{
    std::vector<UTF16String> components;
    for (std::size_t start = 0; start < inPath.size();)
    {
        const std::size_t end = std::min(inPath.find(u'/', start), inPath.size());
        const UTF16String component = inPath.substr(start, end - start);
        if (component == u"..")
        {
            if (!components.empty())
                components.pop_back(); // above the root there is only the root
        }
        else if (!component.empty() && component != u".")
            components.push_back(component);
        start = end + 1;
    }
    return components;
}

} // namespace

UTF16String GetFullFilePart(const UTF16String& inPath)
{
    return inPath.substr(FileStart(inPath));
}

UTF16String GetFilePart(const UTF16String& inPath)
{
    const std::size_t start = FileStart(inPath);
    return inPath.substr(start, ExtensionStart(inPath) - start);
}

UTF16String GetExtensionPart(const UTF16String& inPath)
{
    return inPath.substr(ExtensionStart(inPath));
}

UTF16String GetFullDirectoryPart(const UTF16String& inPath)
{
    return inPath.substr(0, FileStart(inPath));
}

UTF16String AddTrailingSlash(const UTF16String& inPath)
{
    return inPath.empty() || inPath.back() == u'/' ? inPath : inPath + u'/';
}

UTF16String RemoveTrailingSlash(const UTF16String& inPath)
{
    std::size_t size = inPath.size();
    while (size > 1 && inPath[size - 1] == u'/')
        --size;
    return inPath.substr(0, size);
}

bool ExistsOnDisk(const UTF16String& inPath, std::uint32_t inFlags)
{
    const Platform::LinkPolicy policy = (inFlags & kExistsOnDisk_LinkItself) != 0
                                            ? Platform::LinkPolicy::kDoNotFollow
                                            : Platform::LinkPolicy::kFollow;
    Platform::FileStatus status;
    return Platform::FileSystem().Stat(qelcore::utility::UTF16ToFileName(inPath), policy, status) ==
           0;
}

UTF16String ToNormalizedPath(const UTF16String& inPath)
{
    if (inPath.empty())
        return inPath;
    const bool absolute = inPath[0] == u'/';
    UTF16String path;
    for (const UTF16String& component :
         Components(absolute ? inPath : CurrentFolder() + u'/' + inPath))
    {
        path += u'/';
        path += component;
    }
    return path.empty() ? UTF16String(1, u'/') : path;
}

qelcore::Result PreparePathForWrite(const UTF16String& inPath)
{
    const UTF16String folder = GetFullDirectoryPart(inPath);
    if (folder.empty())
        return inPath.empty() ? kFileResult_BadArgument : qelcore::kResult_OK;
    try
    {
        qelcore::utility::FileUtils::EnsureDirectoryExists(folder);
    }
    catch (const qelcore::filesupport::file_exception& failure)
    {
        return ResultOfError(failure.ErrorNumber());
    }
    return qelcore::kResult_OK;
}

bool IsWinAPIAcceptablePath(const UTF16String& inPath)
{
    return !inPath.empty() && inPath[0] == u'/';
}

} // namespace PathUtils
} // namespace ZOR
