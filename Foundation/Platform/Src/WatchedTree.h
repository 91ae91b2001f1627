#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Inotify.h"
#include "OwnedDescriptor.h"

namespace Platform
{

// The folders below a root, each with a watch, kept in step with what is really there.
//
// Invariants (1) Events say where something happened; only a listing says what is there now. No event changes
//                the tree, it makes folders dirty.
//            (2) The identity of a folder is its watch: a folder that a listing finds under another name, or
//                in another folder, has moved there with all that is below it.
//            (3) A folder is watched before it is listed. So what is not in the listing will be told.
//            (4) A folder that could not be listed stays dirty until it was, or until a listing of its parent
//                has lost it. A folder that has lost its place keeps its watch until the end of the
//                round, since another listing may find it.
//
// Threads    One at a time.
class WatchedTree
{
public:
    class ISink
    {
    public:
        virtual ~ISink() = default;
        /// @param inFolder  below the root, "" for the root itself, without slashes at its ends.
        /// @param inName    of the item in it; empty for the folder itself.
        /// @param inFlags   a sum of kFolderEvent_ values.
        virtual void Tell(const std::string& inFolder, const std::string& inName,
                          std::uint32_t inFlags) = 0;
    };

    /// @param inMask  the events of items that are told, as IN_ values.
    WatchedTree(std::string inRoot, std::uint32_t inMask, IInotifyClient& inClient, ISink& inSink);
    ~WatchedTree();

    /// Watches all that is there, and tells nothing of it. @return 0, or why the root cannot be watched.
    int Begin();
    /// Forgets all, as after the root has gone.
    void Clear();
    bool IsEmpty() const { return !mRoot; }
    /// The root's path without links, as the mount table has it; of the last Begin().
    const std::string& RealPath() const { return mRealPath; }
    /// Whether the root's path still leads to the folder that is watched.
    bool IsRootInPlace();

    void Handle(const InotifyEvent& inEvent);
    /// Brings the tree in step, and tells what happened. @return true if some of it must be tried again soon.
    bool Reconcile();
    void MakeAllDirty();
    /// The places where other file systems are mounted have changed.
    void OnMountsChanged();
    /// @param inPath  below the root; what is there now may be another folder than before.
    void MakeDirtyAt(const std::string& inPath);
    /// Whether the root itself was touched since the last such question: see IsRootInPlace.
    bool TakeRootDoubt() { return std::exchange(mIsRootInDoubt, false); }

    /// Folders without a watch, for want of watches or of rights: these must be looked at now and then.
    bool HasUnwatched() const { return !mUnwatched.empty(); }
    void LookAtUnwatched();
    std::uint64_t LossCount() const { return mLossCount; }

private:
    struct Stamp
    {
        std::int64_t mModified = 0;
        std::int64_t mChanged = 0;
        bool operator==(const Stamp&) const = default;
    };
    struct Node
    {
        Node* mParent = nullptr; ///< null for the root, and for what has lost its place
        std::string mName;
        int mWatch = -1;
        bool mIsNew = true; ///< its content was never listed
        Stamp mStamp;       ///< of a folder without a watch
        std::map<std::string, std::unique_ptr<Node>> mChildren;
    };
    struct Entry
    {
        std::string mName;
        bool mIsFolder;
    };
    /// What is to be told, of a folder that may still move.
    struct Happened
    {
        int mWatch;
        std::string mFolder; ///< where it was at the time
        std::string mName;
        std::uint32_t mFlags;
    };

    Node* Find(int inWatch) const;
    std::string PathOf(const Node& inNode) const;
    static std::size_t DepthOf(const Node& inNode);
    bool IsInPlace(const Node& inNode) const;
    int OpenRoot(OwnedDescriptor& outRoot) const;
    int Open(const Node& inNode, OwnedDescriptor& outFolder) const;
    int Watch(int inDescriptor, int& outWatch);
    bool LeadsTo(const Node& inNode, int inWatch);
    bool MayEnter(int inFolder) const;

    void MakeDirty(Node* inNode);
    void Examine(Node& ioNode);
    void List(Node& ioNode, OwnedDescriptor inFolder);
    void TakeIn(Node& ioParent, const std::string& inName, int inFolder);
    void AddNew(Node& ioParent, const std::string& inName, int inWatch);
    void Adopt(Node& ioParent, const std::string& inName, Node& ioMoved);
    void Lose(Node& ioParent, const std::string& inName);
    void ForgetTheLost();
    void Forget(Node& ioNode);
    void SetWatch(Node& ioNode, int inWatch);
    void SetUnwatched(Node& ioNode);
    void SetWatched(Node& ioNode);
    void TellAll(std::vector<Happened>& ioHappened);

    const std::string mPath;
    const std::uint32_t mMask;
    IInotifyClient& mClient;
    ISink& mSink;

    std::string mRealPath;
    std::unique_ptr<Node> mRoot;
    std::unordered_map<int, Node*> mByWatch;
    std::unordered_set<Node*> mDirty;
    std::unordered_set<Node*> mUnwatched;
    std::vector<std::unique_ptr<Node>> mLost; ///< of this round
    std::vector<Happened> mHappened;
    std::vector<Happened> mFound; ///< in new folders; told after what made these
    bool mHasMountsBelow = false;
    bool mIsBeginning = false;
    bool mIsRootInDoubt = false;
    std::uint64_t mLossCount = 0;
};

} // namespace Platform
