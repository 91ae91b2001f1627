#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/FileSystem.h"
#include "Platform/Folder.h"

namespace Platform
{

// A folder and the folders below it, to be removed if there is nothing else in any of them.
//
// Safety   Nothing is reached by a path: a cursor goes from folder to folder, down by a name that is no
//          link and no mount point, up to the folder that it came from and to no other. So whoever
//          renames things meanwhile, or puts links there, leads it nowhere else. It holds two folders
//          and a listing open, however deep the tree is.
// Errors   Numbers of <cerrno>: ENOTEMPTY if something in the tree is no folder; EXDEV for a mount point
//          in it; EBUSY if a folder was moved away, or exchanged, while it was looked at.
class FolderTree
{
public:
    /// Opens the folder above by its path.
    int Open(IFileSystem& inFileSystem, const std::string& inTop);
    /// The same where it is open already.
    /// @param inName  of the folder in inAbove that is to go.
    void Open(std::shared_ptr<IFolder> inAbove, const std::string& inName);
    /// Looks through the whole tree, and changes nothing.
    int Survey();
    /// Removes what Survey() saw, from below. If one folder resists, those before it are made again.
    int Remove();

private:
    struct Node
    {
        std::string name;
        std::size_t parent; // comes ahead of the node
        std::optional<FolderIdentity> identity;
    };
    static constexpr std::size_t kAbove = 0;
    static constexpr std::size_t kTop = 1;

    int SurveyNode(std::size_t inNode, std::vector<std::size_t>& ioToCome);
    int ListFolders(std::size_t inNode, std::vector<std::size_t>& ioToCome);
    int RemoveNode(std::size_t inNode);
    void MakeRemovedAgain();

    int MoveTo(std::size_t inNode);
    int Enter(std::size_t inNode);
    int Leave();
    void ReturnToAbove();

    std::vector<Node> mNodes;
    std::vector<std::size_t> mSeen;    // each ahead of what is in it
    std::vector<std::size_t> mRemoved; // each behind what was in it
    std::shared_ptr<IFolder> mAbove;
    std::shared_ptr<IFolder> mCursor; // at the node mAt
    std::size_t mAt = kAbove;
};

} // namespace Platform
