#include "Platform/Folder.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/FileSystem.h"

namespace Platform
{

IFolder::~IFolder() = default;

int IFolder::OpenFolderBelow(const std::string& inPath, std::unique_ptr<IFolder>& outFolder)
{
    std::unique_ptr<IFolder> folder;
    for (std::size_t start = 0; start <= inPath.size();)
    {
        const std::size_t end = std::min(inPath.find('/', start), inPath.size());
        std::unique_ptr<IFolder> next;
        IFolder& above = folder ? *folder : *this;
        if (const int error = above.OpenFolder(inPath.substr(start, end - start), next))
            return error;
        folder = std::move(next);
        start = end + 1;
    }
    outFolder = std::move(folder);
    return 0;
}

} // namespace Platform
