#include "FileWalk.h"

#include "PathText.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace filesupport
{

FileIterator::Walk::Walk(const UTF16String& inFolder, bool inRecursive, const FileFilter& inFilter)
    : mRecursive(inRecursive)
    , mFilter(inFilter)
{
    const int error = Open(inFolder, Platform::LinkPolicy::kFollow);
    if (error != 0)
        throw dir_exception("Cannot list folder", inFolder, error);
    MoveOn();
}

int FileIterator::Walk::Open(const UTF16String& inFolder, Platform::LinkPolicy inPolicy)
{
    mFolder = inFolder;
    mFolderBytes = utility::UTF16ToFileName(inFolder);
    return Platform::FileSystem().List(mFolderBytes, inPolicy, mListing);
}

void FileIterator::Walk::MoveOn()
{
    Platform::DirectoryEntry entry;
    for (;;)
    {
        bool end = mListing == nullptr;
        const int error = end ? 0 : mListing->Next(entry, end);
        if (error != 0)
        {
            Stop();
            throw dir_exception("Cannot list folder", mFolder, error);
        }
        if (end && !OpenNextFolder())
            return Stop();
        if (!end && Takes(entry))
            return;
    }
}

bool FileIterator::Walk::OpenNextFolder()
{
    mListing.reset();
    while (!mFoldersToCome.empty())
    {
        const UTF16String folder = mFoldersToCome.back();
        mFoldersToCome.pop_back();
        if (Open(folder, Platform::LinkPolicy::kDoNotFollow) == 0)
            return true;
    }
    return false;
}

void FileIterator::Walk::Stop()
{
    mListing.reset();
    mFoldersToCome.clear();
    mAtEnd = true;
}

bool FileIterator::Walk::Takes(const Platform::DirectoryEntry& inEntry)
{
    using Platform::FileKind;
    if (inEntry.kind == FileKind::kDirectory && mRecursive)
        mFoldersToCome.push_back(JoinPath(mFolder, utility::FileNameToUTF16(inEntry.name)));
    const bool isFile = inEntry.kind == FileKind::kFile ||
                        (inEntry.kind == FileKind::kSymbolicLink && LeadsToFile(inEntry.name));
    if (!isFile)
        return false;
    const UTF16String name = utility::FileNameToUTF16(inEntry.name);
    if (mFilter && !mFilter(name))
        return false;
    mFile = File(JoinPath(mFolder, name));
    return true;
}

bool FileIterator::Walk::LeadsToFile(const std::string& inName) const
{
    Platform::FileStatus status;
    return Platform::FileSystem().Stat(mFolderBytes + "/" + inName, Platform::LinkPolicy::kFollow,
                                       status) == 0 &&
           status.kind == Platform::FileKind::kFile;
}

FileIterator::FileIterator() = default;
FileIterator::FileIterator(const FileIterator&) = default;
FileIterator& FileIterator::operator=(const FileIterator&) = default;
FileIterator::~FileIterator() = default;

FileIterator::FileIterator(const boost::shared_ptr<Walk>& inWalk)
    : mWalk(inWalk)
{
}

const File& FileIterator::operator*() const
{
    return mWalk->Current();
}

FileIterator& FileIterator::operator++()
{
    mWalk->MoveOn();
    return *this;
}

bool FileIterator::Equals(const FileIterator& inOther) const
{
    const bool thisEnds = mWalk == nullptr || mWalk->AtEnd();
    const bool otherEnds = inOther.mWalk == nullptr || inOther.mWalk->AtEnd();
    return thisEnds == otherEnds && (thisEnds || mWalk == inOther.mWalk);
}

} // namespace filesupport
} // namespace qelcore
