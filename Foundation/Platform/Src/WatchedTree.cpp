#include "WatchedTree.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "MountInfo.h"
#include "Platform/FolderEvents.h"
#include "Platform/VolumeKind.h"
#include "SystemCall.h"

namespace Platform
{
namespace
{

/// What the tree itself must see, whatever is told.
constexpr std::uint32_t kStructure =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t kFolderCameOrWent = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kAnythingHappened = kFolderEvent_MustScanSubDirs | kFolderEvent_AnyItem;

/// In a folder that others keep changing, the rest waits for the next turn.
constexpr int kMostRounds = 64;
constexpr int kMostTurnsOfBeginning = 64; // each goes as many folders deep as it has rounds

std::uint32_t FlagsOf(std::uint32_t inMask)
{
    std::uint32_t flags =
        (inMask & IN_ISDIR) != 0 ? kFolderEvent_ItemIsDir : kFolderEvent_ItemIsFile;
    if ((inMask & IN_CREATE) != 0)
        flags |= kFolderEvent_ItemCreated;
    if ((inMask & IN_DELETE) != 0)
        flags |= kFolderEvent_ItemRemoved;
    if ((inMask & (IN_MOVED_FROM | IN_MOVED_TO)) != 0)
        flags |= kFolderEvent_ItemRenamed;
    if ((inMask & IN_ATTRIB) != 0)
        flags |= kFolderEvent_ItemInodeMetaMod;
    if ((inMask & IN_CLOSE_WRITE) != 0)
        flags |= kFolderEvent_ItemModified;
    return flags;
}

int OpenFolder(int inParent, const char* inName, int inFlags, OwnedDescriptor& outFolder)
{
    int folder = -1;
    const int error = Repeat(
        [&] { return folder = openat(inParent, inName, O_DIRECTORY | O_CLOEXEC | inFlags); });
    outFolder = OwnedDescriptor(folder);
    return error;
}

struct CloseFolder
{
    void operator()(DIR* inFolder) const { closedir(inFolder); }
};

bool IsFolder(int inParent, const dirent& inEntry)
{
    if (inEntry.d_type != DT_UNKNOWN)
        return inEntry.d_type == DT_DIR;
    struct stat status;
    return fstatat(inParent, inEntry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

} // namespace

WatchedTree::WatchedTree(std::string inRoot, std::uint32_t inMask, IInotifyClient& inClient,
                         ISink& inSink)
    : mPath(std::move(inRoot))
    , mMask(inMask | kStructure)
    , mClient(inClient)
    , mSink(inSink)
{
}

WatchedTree::~WatchedTree()
{
    Clear();
}

int WatchedTree::Begin()
{
    Clear();
    char* const real = realpath(mPath.c_str(), nullptr);
    mRealPath = real ? real : mPath;
    std::free(real);
    OnMountsChanged();
    OwnedDescriptor root(-1);
    int error = OpenRoot(root);
    int watch = -1;
    if (error == 0)
        error = Watch(root.Get(), watch);
    if (error != 0 && error != ENOSPC)
        return error;
    mRoot = std::make_unique<Node>();
    if (error == 0)
        SetWatch(*mRoot, watch);
    else
        SetUnwatched(*mRoot);
    mDirty.insert(mRoot.get());
    mIsBeginning = true;
    for (int turn = 0; turn < kMostTurnsOfBeginning && Reconcile(); ++turn)
    {
    }
    mIsBeginning = false;
    return 0;
}

void WatchedTree::Clear()
{
    ForgetTheLost();
    if (mRoot)
        Forget(*mRoot);
    mRoot.reset();
}

bool WatchedTree::IsRootInPlace()
{
    return mRoot && LeadsTo(*mRoot, mRoot->mWatch);
}

WatchedTree::Node* WatchedTree::Find(int inWatch) const
{
    const auto found = mByWatch.find(inWatch);
    return found == mByWatch.end() ? nullptr : found->second;
}

std::string WatchedTree::PathOf(const Node& inNode) const
{
    std::string path = inNode.mName;
    for (const Node* node = inNode.mParent; node && node->mParent; node = node->mParent)
        path.insert(0, node->mName + "/");
    return path;
}

std::size_t WatchedTree::DepthOf(const Node& inNode)
{
    std::size_t depth = 0;
    for (const Node* node = inNode.mParent; node; node = node->mParent)
        ++depth;
    return depth;
}

bool WatchedTree::IsInPlace(const Node& inNode) const
{
    const Node* node = &inNode;
    while (node->mParent)
        node = node->mParent;
    return node == mRoot.get();
}

int WatchedTree::OpenRoot(OwnedDescriptor& outRoot) const
{
    return OpenFolder(AT_FDCWD, mPath.c_str(), O_RDONLY, outRoot);
}

// Step by step, each of them no link: a link in a folder's place must not lead the watch elsewhere.
int WatchedTree::Open(const Node& inNode, OwnedDescriptor& outFolder) const
{
    std::vector<const Node*> steps;
    for (const Node* node = &inNode; node->mParent; node = node->mParent)
        steps.push_back(node);
    int error = OpenFolder(AT_FDCWD, mPath.c_str(), steps.empty() ? O_RDONLY : O_PATH, outFolder);
    while (error == 0 && !steps.empty())
    {
        const std::string& name = steps.back()->mName;
        steps.pop_back();
        OwnedDescriptor next(-1);
        error = OpenFolder(outFolder.Get(), name.c_str(),
                           (steps.empty() ? O_RDONLY : O_PATH) | O_NOFOLLOW, next);
        outFolder = std::move(next);
    }
    return error;
}

int WatchedTree::Watch(int inDescriptor, int& outWatch)
{
    return Inotify::Instance().AddFolder(inDescriptor, mMask, mClient, outWatch);
}

bool WatchedTree::LeadsTo(const Node& inNode, int inWatch)
{
    OwnedDescriptor folder(-1);
    int watch = -1;
    if (Open(inNode, folder) != 0 || Watch(folder.Get(), watch) != 0)
        return false;
    if (watch != inWatch && !Find(watch))
        Inotify::Instance().Remove(watch, mClient);
    return watch == inWatch;
}

void WatchedTree::OnMountsChanged()
{
    std::vector<Mount> mounts;
    mHasMountsBelow = VolumeTable().Mounts(mounts) != 0 ||
                      std::any_of(mounts.begin(), mounts.end(),
                                  [&](const Mount& inMount)
                                  {
                                      return inMount.mountPoint != mRealPath &&
                                             IsAtOrBelow(inMount.mountPoint, mRealPath);
                                  });
}

// Looking into a server's folder may take for ever, and one of an automounter mounts it.
bool WatchedTree::MayEnter(int inFolder) const
{
    struct statx status;
    if (!mHasMountsBelow ||
        statx(inFolder, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_MNT_ID, &status) != 0 ||
        (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0)
        return true;
    std::vector<Mount> mounts;
    if (VolumeTable().Mounts(mounts) != 0)
        return false;
    const auto found = std::find_if(mounts.begin(), mounts.end(), [&](const Mount& inMount)
                                    { return inMount.id == status.stx_mnt_id; });
    return found != mounts.end() && !IsNetworkMount(*found) && !IsAutomounter(*found) &&
           !IsPseudoMount(*found);
}

void WatchedTree::MakeDirty(Node* inNode)
{
    if (inNode)
        mDirty.insert(inNode);
}

void WatchedTree::MakeAllDirty()
{
    for (const auto& [watch, node] : mByWatch)
        mDirty.insert(node);
    for (Node* const node : mUnwatched)
        mDirty.insert(node);
}

void WatchedTree::MakeDirtyAt(const std::string& inPath)
{
    Node* node = mRoot.get();
    std::size_t at = 0;
    while (node)
    {
        MakeDirty(node);
        if (at >= inPath.size())
            return;
        const std::size_t end = std::min(inPath.find('/', at), inPath.size());
        const auto found = node->mChildren.find(inPath.substr(at, end - at));
        node = found == node->mChildren.end() ? nullptr : found->second.get();
        at = end + 1;
    }
}

void WatchedTree::Handle(const InotifyEvent& inEvent)
{
    Node* const node = Find(inEvent.watch);
    if (!node)
        return;
    if ((inEvent.mask & IN_IGNORED) != 0)
    {
        mByWatch.erase(inEvent.watch);
        node->mWatch = -1;
    }
    if (inEvent.name.empty())
    {
        if ((inEvent.mask & IN_ATTRIB) != 0 && !node->mParent)
            mHappened.push_back({inEvent.watch, "", "", FlagsOf(inEvent.mask | IN_ISDIR)});
        if ((inEvent.mask & ~std::uint32_t{IN_ATTRIB | IN_ISDIR}) != 0)
        {
            mIsRootInDoubt |= !node->mParent;
            MakeDirty(node);
            MakeDirty(node->mParent);
        }
        return;
    }
    mHappened.push_back({inEvent.watch, PathOf(*node), inEvent.name, FlagsOf(inEvent.mask)});
    if ((inEvent.mask & IN_ISDIR) != 0 && (inEvent.mask & kFolderCameOrWent) != 0)
        MakeDirty(node);
}

bool WatchedTree::Reconcile()
{
    for (int round = 0; round < kMostRounds && !mDirty.empty() && mRoot; ++round)
    {
        std::vector<std::pair<std::size_t, Node*>> nodes;
        nodes.reserve(mDirty.size());
        for (Node* const node : mDirty)
            nodes.emplace_back(DepthOf(*node), node);
        std::sort(nodes.begin(), nodes.end());
        mDirty.clear();
        for (const auto& [depth, node] : nodes)
            Examine(*node);
        ForgetTheLost();
    }
    TellAll(mHappened);
    TellAll(mFound);
    return !mDirty.empty();
}

void WatchedTree::TellAll(std::vector<Happened>& ioHappened)
{
    for (const Happened& happened : ioHappened)
    {
        const Node* const node = Find(happened.mWatch);
        mSink.Tell(node ? PathOf(*node) : happened.mFolder, happened.mName, happened.mFlags);
    }
    ioHappened.clear();
}

void WatchedTree::Examine(Node& ioNode)
{
    OwnedDescriptor folder(-1);
    int error = IsInPlace(ioNode) ? Open(ioNode, folder) : ESTALE;
    if (error == ENOENT || error == ENOTDIR || error == ELOOP || error == ESTALE)
    {
        // A parent's listing finds out where it is now, if anywhere. The root has none: see IsRootInPlace.
        if (ioNode.mParent || &ioNode != mRoot.get())
        {
            MakeDirty(ioNode.mParent);
            MakeDirty(&ioNode);
        }
        return;
    }
    int watch = -1;
    if (error == 0)
        error = Watch(folder.Get(), watch);
    if (error != 0)
        SetUnwatched(ioNode);
    else if (ioNode.mWatch == -1 && !Find(watch))
        SetWatch(ioNode, watch);
    else if (ioNode.mWatch != watch)
    {
        if (!Find(watch))
            Inotify::Instance().Remove(watch, mClient);
        if (!ioNode.mParent)
            return;
        MakeDirty(ioNode.mParent);
        if (ioNode.mWatch == -1)
            Lose(*ioNode.mParent, std::string(ioNode.mName));
        else
            MakeDirty(&ioNode);
        return;
    }
    if (folder.IsOpen())
        List(ioNode, std::move(folder));
}

void WatchedTree::List(Node& ioNode, OwnedDescriptor inFolder)
{
    const std::unique_ptr<DIR, CloseFolder> listing(fdopendir(inFolder.Get()));
    if (!listing)
    {
        SetUnwatched(ioNode);
        return;
    }
    const int folder = inFolder.Take(); // the listing's from now on
    std::vector<Entry> entries;
    while (const dirent* const entry = readdir(listing.get()))
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            entries.push_back({entry->d_name, IsFolder(folder, *entry)});

    std::set<std::string> before;
    for (const auto& [name, child] : ioNode.mChildren)
        before.insert(name);
    for (const Entry& entry : entries)
    {
        if (!entry.mIsFolder)
            continue;
        before.erase(entry.mName);
        TakeIn(ioNode, entry.mName, folder);
    }
    for (const std::string& name : before)
        Lose(ioNode, name);
    if (ioNode.mIsNew && !mIsBeginning)
        for (const Entry& entry : entries)
            mFound.push_back(
                {ioNode.mWatch, PathOf(ioNode), entry.mName,
                 kFolderEvent_ItemCreated |
                     (entry.mIsFolder ? kFolderEvent_ItemIsDir : kFolderEvent_ItemIsFile)});
    ioNode.mIsNew = false;
    if (ioNode.mWatch != -1)
        SetWatched(ioNode);
}

void WatchedTree::TakeIn(Node& ioParent, const std::string& inName, int inFolder)
{
    OwnedDescriptor folder(-1);
    const int gone = OpenFolder(inFolder, inName.c_str(), O_PATH | O_NOFOLLOW, folder);
    if (gone != 0 || !MayEnter(folder.Get()))
    {
        Lose(ioParent, inName);
        if (gone != 0 && gone != ENOENT && gone != ENOTDIR && gone != ELOOP)
            SetUnwatched(ioParent);
        return;
    }
    const auto found = ioParent.mChildren.find(inName);
    Node* const present = found == ioParent.mChildren.end() ? nullptr : found->second.get();
    int watch = -1;
    if (Watch(folder.Get(), watch) != 0)
    {
        if (!present)
            AddNew(ioParent, inName, -1);
        return;
    }
    if (present && present->mWatch == watch)
        return;
    Node* const known = Find(watch);
    if (!known)
    {
        Lose(ioParent, inName);
        AddNew(ioParent, inName, watch);
        return;
    }
    // One folder at two places, as a bind mount has it, is watched at the first.
    if (IsInPlace(*known) && LeadsTo(*known, watch))
    {
        Lose(ioParent, inName);
        return;
    }
    for (const Node* node = &ioParent; node; node = node->mParent)
    {
        if (node != known)
            continue;
        // What lies above has moved meanwhile: begin again from the top.
        MakeDirty(mRoot.get());
        MakeDirty(&ioParent);
        return;
    }
    Lose(ioParent, inName);
    Adopt(ioParent, inName, *known);
}

void WatchedTree::AddNew(Node& ioParent, const std::string& inName, int inWatch)
{
    auto node = std::make_unique<Node>();
    node->mParent = &ioParent;
    node->mName = inName;
    if (inWatch != -1)
        SetWatch(*node, inWatch);
    MakeDirty(node.get());
    ioParent.mChildren[inName] = std::move(node);
}

void WatchedTree::Adopt(Node& ioParent, const std::string& inName, Node& ioMoved)
{
    std::unique_ptr<Node> moved;
    if (ioMoved.mParent)
    {
        MakeDirty(ioMoved.mParent);
        const auto place = ioMoved.mParent->mChildren.find(ioMoved.mName);
        moved = std::move(place->second);
        ioMoved.mParent->mChildren.erase(place);
    }
    else
    {
        const auto place = std::find_if(mLost.begin(), mLost.end(), [&](const auto& inLost)
                                        { return inLost.get() == &ioMoved; });
        moved = std::move(*place);
        mLost.erase(place);
    }
    moved->mParent = &ioParent;
    moved->mName = inName;
    MakeDirty(moved.get());
    ioParent.mChildren[inName] = std::move(moved);
}

void WatchedTree::Lose(Node& ioParent, const std::string& inName)
{
    const auto found = ioParent.mChildren.find(inName);
    if (found == ioParent.mChildren.end())
        return;
    found->second->mParent = nullptr;
    mLost.push_back(std::move(found->second));
    ioParent.mChildren.erase(found);
}

void WatchedTree::ForgetTheLost()
{
    for (const std::unique_ptr<Node>& lost : mLost)
        Forget(*lost);
    mLost.clear();
}

void WatchedTree::Forget(Node& ioNode)
{
    std::vector<Node*> nodes = {&ioNode}; // as deep as a path goes, which is too deep for calls
    while (!nodes.empty())
    {
        Node* const node = nodes.back();
        nodes.pop_back();
        for (const auto& [name, child] : node->mChildren)
            nodes.push_back(child.get());
        if (node->mWatch != -1)
        {
            mByWatch.erase(node->mWatch);
            Inotify::Instance().Remove(node->mWatch, mClient);
        }
        mDirty.erase(node);
        mUnwatched.erase(node);
    }
}

void WatchedTree::SetWatch(Node& ioNode, int inWatch)
{
    ioNode.mWatch = inWatch;
    mByWatch[inWatch] = &ioNode;
}

void WatchedTree::SetUnwatched(Node& ioNode)
{
    if (!mUnwatched.insert(&ioNode).second)
        return;
    ++mLossCount;
    mHappened.push_back({ioNode.mWatch, PathOf(ioNode), "", kAnythingHappened});
}

// From here on its events come; what happened ahead of the first of them nobody has told.
void WatchedTree::SetWatched(Node& ioNode)
{
    if (mUnwatched.erase(&ioNode) != 0)
        mHappened.push_back({ioNode.mWatch, PathOf(ioNode), "", kAnythingHappened});
}

void WatchedTree::LookAtUnwatched()
{
    const std::vector<Node*> nodes(mUnwatched.begin(), mUnwatched.end());
    for (Node* const node : nodes)
    {
        OwnedDescriptor folder(-1);
        struct stat status;
        Stamp stamp;
        if (Open(*node, folder) == 0 && fstat(folder.Get(), &status) == 0)
            stamp = {status.st_mtim.tv_sec * 1000000000 + status.st_mtim.tv_nsec,
                     status.st_ctim.tv_sec * 1000000000 + status.st_ctim.tv_nsec};
        MakeDirty(node); // a watch may be free by now
        if (stamp == node->mStamp)
            continue;
        node->mStamp = stamp;
        mHappened.push_back({-1, PathOf(*node), "", kAnythingHappened});
    }
}

} // namespace Platform
