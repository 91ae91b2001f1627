#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Platform/FileSystem.h"

namespace Testing
{

// The files and folders of a MemoryFileSystem, by their absolute paths. It begins with "/". Not locked.
class MemoryTree
{
public:
    struct Body
    {
        std::string bytes; // a link's target too
        Platform::FileTime modified{1000000000, 0};
        Platform::FileTime changed{1000000000, 0};
        std::uint64_t inode = 0;
        std::optional<std::uint64_t> claimedSize;
    };
    struct Node
    {
        Platform::FileKind kind = Platform::FileKind::kDirectory;
        std::shared_ptr<Body> body = std::make_shared<Body>(); // shared by the names of one file
        Platform::FileTime accessed{1000000000, 0};
    };

    MemoryTree() { mNodes["/"].body->inode = ++mLastInode; }

    static std::string ParentOf(const std::string& inPath)
    {
        const std::size_t slash = inPath.rfind('/');
        return slash == 0 ? "/" : inPath.substr(0, slash);
    }
    static std::string WithSlash(const std::string& inPath)
    {
        return inPath == "/" ? inPath : inPath + "/";
    }

    bool Has(const std::string& inPath) const { return mNodes.count(inPath) != 0; }
    Node& At(const std::string& inPath) { return mNodes.at(inPath); }
    void Erase(const std::string& inPath) { mNodes.erase(inPath); }
    /// One more name of a file.
    void Link(const std::string& inFrom, const std::string& inTo)
    {
        mNodes[inTo] = mNodes.at(inFrom);
    }
    // Follows the links on the way. outPath is set to where it is, or would be, also on ENOENT.
    int Find(const std::string& inPath, bool inFollowLast, std::string& outPath, int inDepth = 0)
    {
        outPath = inPath;
        if (inPath.empty() || inPath[0] != '/')
            return ENOENT;
        if (inDepth > 40)
            return ELOOP;
        std::string path = "/";
        for (std::size_t start = 1; start < inPath.size();)
        {
            const std::size_t end = std::min(inPath.find('/', start), inPath.size());
            const std::string component = inPath.substr(start, end - start);
            start = end + 1;
            if (component.empty())
                continue;
            if (component.size() > 255)
                return ENAMETOOLONG;
            const auto folder = mNodes.find(path);
            if (folder == mNodes.end())
            {
                outPath = inPath; // nothing can be made there: the folder above is missing
                return ENOENT;
            }
            if (folder->second.kind != Platform::FileKind::kDirectory)
                return ENOTDIR;
            path = WithSlash(path) + component;
            outPath = path;
            const auto node = mNodes.find(path);
            const bool isLink =
                node != mNodes.end() && node->second.kind == Platform::FileKind::kSymbolicLink;
            if (isLink && (inFollowLast || end < inPath.size()))
            {
                const std::string target = node->second.body->bytes;
                if (const int error = Find(target, true, path, inDepth + 1))
                    return error;
                outPath = path;
            }
        }
        outPath = path;
        return mNodes.count(path) != 0 ? 0 : ENOENT;
    }
    bool HasParent(const std::string& inPath)
    {
        const auto parent = mNodes.find(ParentOf(inPath));
        return parent != mNodes.end() && parent->second.kind == Platform::FileKind::kDirectory;
    }
    Node& Put(const std::string& inPath, Platform::FileKind inKind, const std::string& inContents)
    {
        for (std::string parent = ParentOf(inPath); mNodes.count(parent) == 0;
             parent = ParentOf(parent))
            mNodes[parent].body->inode = ++mLastInode;
        Node& node = mNodes[inPath];
        node.kind = inKind;
        node.body = std::make_shared<Body>();
        node.body->bytes = inContents;
        node.body->inode = ++mLastInode;
        return node;
    }
    std::vector<Platform::DirectoryEntry> ChildrenOf(const std::string& inFolder)
    {
        const std::string prefix = WithSlash(inFolder);
        std::vector<Platform::DirectoryEntry> children;
        for (auto node = mNodes.upper_bound(prefix);
             node != mNodes.end() && node->first.compare(0, prefix.size(), prefix) == 0; ++node)
        {
            if (node->first.find('/', prefix.size()) == std::string::npos)
                children.push_back({node->first.substr(prefix.size()), node->second.kind});
        }
        return children;
    }
    void EraseTree(const std::string& inPath)
    {
        const std::string prefix = WithSlash(inPath);
        mNodes.erase(inPath);
        for (auto node = mNodes.lower_bound(prefix);
             node != mNodes.end() && node->first.compare(0, prefix.size(), prefix) == 0;)
            node = mNodes.erase(node);
    }
    void MoveTree(const std::string& inFrom, const std::string& inTo)
    {
        const std::string prefix = WithSlash(inFrom);
        std::map<std::string, Node> moved;
        moved[inTo] = mNodes.at(inFrom);
        for (auto node = mNodes.lower_bound(prefix);
             node != mNodes.end() && node->first.compare(0, prefix.size(), prefix) == 0; ++node)
            moved[WithSlash(inTo) + node->first.substr(prefix.size())] = node->second;
        EraseTree(inFrom);
        for (auto& node : moved)
            mNodes[node.first] = node.second;
    }

    void SetMountPoint(const std::string& inPath) { mMountPoints.insert(inPath); }
    std::uint64_t MountOf(const std::string& inPath)
    {
        for (std::string path = inPath; path != "/"; path = ParentOf(path))
        {
            if (mMountPoints.count(path) != 0)
                return mNodes.at(path).body->inode + 1;
        }
        return 1;
    }
    /// @param ioPath  untouched if there is no such file any more.
    void FindInode(std::uint64_t inInode, std::string& ioPath) const
    {
        for (const auto& node : mNodes)
        {
            if (node.second.body->inode == inInode)
                ioPath = node.first;
        }
    }

private:
    std::map<std::string, Node> mNodes;
    std::set<std::string> mMountPoints;
    std::uint64_t mLastInode = 0;
};

} // namespace Testing
