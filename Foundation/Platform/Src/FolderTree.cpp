#include "Platform/FolderTree.h"

#include <cerrno>
#include <utility>

namespace Platform
{
namespace
{

std::string PathAbove(const std::string& inPath, std::size_t inSlash)
{
    if (inSlash == std::string::npos)
        return ".";
    return inSlash == 0 ? "/" : inPath.substr(0, inSlash);
}

} // namespace

int FolderTree::Open(IFileSystem& inFileSystem, const std::string& inTop)
{
    if (inTop.empty())
        return ENOENT;
    const std::size_t slash = inTop.rfind('/');
    std::unique_ptr<IFolder> above;
    if (const int error =
            inFileSystem.OpenFolder(PathAbove(inTop, slash), LinkPolicy::kFollow, above))
        return error;
    Open(std::move(above), slash == std::string::npos ? inTop : inTop.substr(slash + 1));
    return 0;
}

void FolderTree::Open(std::shared_ptr<IFolder> inAbove, const std::string& inName)
{
    mAbove = std::move(inAbove);
    mNodes = {{std::string(), kAbove, mAbove->Identity()}, {inName, kAbove, std::nullopt}};
    ReturnToAbove();
}

int FolderTree::Survey()
{
    std::vector<std::size_t> toCome = {kTop};
    while (!toCome.empty())
    {
        const std::size_t node = toCome.back();
        toCome.pop_back();
        const int error = SurveyNode(node, toCome);
        const bool removedMeanwhile = error == ENOENT && node != kTop;
        if (error != 0 && !removedMeanwhile)
            return error == ENOTDIR && node != kTop ? ENOTEMPTY : error;
    }
    return 0;
}

int FolderTree::SurveyNode(std::size_t inNode, std::vector<std::size_t>& ioToCome)
{
    if (const int error = MoveTo(inNode))
        return error;
    mSeen.push_back(inNode);
    return ListFolders(inNode, ioToCome);
}

int FolderTree::ListFolders(std::size_t inNode, std::vector<std::size_t>& ioToCome)
{
    std::unique_ptr<IDirectoryListing> listing;
    if (const int error = mCursor->List(listing))
        return error;
    for (;;)
    {
        DirectoryEntry entry;
        bool end = false;
        if (const int error = listing->Next(entry, end))
            return error;
        if (end)
            return 0;
        if (entry.kind != FileKind::kDirectory)
            return ENOTEMPTY;
        ioToCome.push_back(mNodes.size());
        mNodes.push_back({std::move(entry.name), inNode, std::nullopt});
    }
}

int FolderTree::Remove()
{
    for (std::size_t left = mSeen.size(); left > 0; --left)
    {
        const std::size_t node = mSeen[left - 1];
        const int error = RemoveNode(node);
        if (error == 0 || error == ENOENT)
            continue;
        MakeRemovedAgain();
        return error == ENOTDIR && node != kTop ? ENOTEMPTY : error;
    }
    return 0;
}

int FolderTree::RemoveNode(std::size_t inNode)
{
    if (const int error = MoveTo(mNodes[inNode].parent))
        return error;
    const int error = mCursor->RemoveDirectory(mNodes[inNode].name);
    if (error == 0)
        mRemoved.push_back(inNode);
    return error;
}

void FolderTree::MakeRemovedAgain()
{
    for (; !mRemoved.empty(); mRemoved.pop_back())
    {
        Node& node = mNodes[mRemoved.back()];
        node.identity.reset();
        if (MoveTo(node.parent) == 0)
            mCursor->MakeDirectory(node.name);
        else
            ReturnToAbove(); // the next one may still have its place
    }
}

int FolderTree::MoveTo(std::size_t inNode)
{
    std::vector<std::size_t> down;
    // A node comes behind the one that it is in, so the greater of the two is never above the other.
    while (inNode != mAt)
    {
        if (inNode > mAt)
        {
            down.push_back(inNode);
            inNode = mNodes[inNode].parent;
        }
        else if (const int error = Leave())
            return error;
    }
    for (; !down.empty(); down.pop_back())
    {
        if (const int error = Enter(down.back()))
            return error;
    }
    return 0;
}

int FolderTree::Enter(std::size_t inNode)
{
    Node& node = mNodes[inNode];
    std::unique_ptr<IFolder> folder;
    if (const int error = mCursor->OpenFolder(node.name, folder))
        return error;
    if (node.identity.has_value() && folder->Identity() != *node.identity)
        return EBUSY;
    node.identity = folder->Identity();
    mCursor = std::move(folder);
    mAt = inNode;
    return 0;
}

int FolderTree::Leave()
{
    const std::size_t parent = mNodes[mAt].parent;
    std::unique_ptr<IFolder> folder;
    if (const int error = mCursor->OpenParent(folder))
        return error;
    if (folder->Identity() != mNodes[parent].identity)
        return EBUSY;
    mCursor = std::move(folder);
    mAt = parent;
    return 0;
}

void FolderTree::ReturnToAbove()
{
    mCursor = mAbove;
    mAt = kAbove;
}

} // namespace Platform
