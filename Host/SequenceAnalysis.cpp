#include "SequenceAnalysis.h"

#include <cstdio>
#include <filesystem>

#include <sys/stat.h>

#include "CacheFolder.h"
#include "qelcore/MixHash.h"

namespace RKHost
{

FileVersion FileVersion::Of(const std::string& inPath)
{
    struct stat status = {};
    FileVersion version;
    if (stat(inPath.c_str(), &status) != 0)
        return version;
    version.mIsThere = true;
    version.mSize = static_cast<std::uint64_t>(status.st_size);
    version.mSeconds = status.st_mtim.tv_sec;
    version.mNanoseconds = status.st_mtim.tv_nsec;
    return version;
}

std::string FileVersion::Name(const std::string& inPath) const
{
    using qelcore::utility::MixHash;
    if (!mIsThere)
        return std::string();
    const std::string path = std::filesystem::absolute(inPath).lexically_normal();
    const std::uint64_t figures[] = {mSize, static_cast<std::uint64_t>(mSeconds),
                                     static_cast<std::uint64_t>(mNanoseconds)};
    MixHash::HashValue hash = {};
    MixHash::MixInData(hash, path.data(), path.size());
    MixHash::MixInData(hash, figures, sizeof figures);
    char name[33];
    std::snprintf(name, sizeof name, "%08x%08x%08x%08x", hash[0], hash[1], hash[2], hash[3]);
    return name;
}

SequenceAnalysis::SequenceAnalysis(const std::string& inFolder, const Sequence& inSequence,
                                   int inFrameCount, const ImporterModule& inImporter)
    : mSequence(inSequence)
    , mSources(static_cast<std::size_t>(inFrameCount))
{
    const CacheFolder folder = CacheFolder::OpenOrMake(inFolder);
    mDirectory = folder.mDirectory;
    mDirectory->SetMaxUsedBytes(kMostBytes);
    mDirectory->SetAutomaticExpiryDuration(
        boost::posix_time::time_duration(boost::posix_time::hours(24 * kMostDays)));
    mStore = std::make_unique<AnalysisStore>(inImporter, folder.mStore);
}

SequenceAnalysis::~SequenceAnalysis()
{
    mStore->Finish();
    AwaitWrites(mStore->Chain());
}

IAudience& SequenceAnalysis::BeginPass(IAudience& ioAudience)
{
    mAudience = &ioAudience;
    for (std::size_t frame = 0; frame < mSources.size(); ++frame)
        mSources[frame].mAtBeginOfPass =
            FileVersion::Of(mSequence.FramePath(static_cast<int>(frame)));
    return *this;
}

// A frame out of the cache was read in an earlier pass, and its file may have changed since. One that was
// decoded was read between the begin of the pass and now, from the file that was there both times.
void SequenceAnalysis::OnFrame(int inFrame, const Frame& inPicture, bool inHit)
{
    Source& source = mSources[static_cast<std::size_t>(inFrame)];
    if (!inHit)
    {
        const std::string path = mSequence.FramePath(inFrame);
        const FileVersion version = FileVersion::Of(path);
        source.mName = version == source.mAtBeginOfPass ? version.Name(path) : std::string();
    }
    mStore->Analyse(source.mName, inPicture);
    mAudience->OnFrame(inFrame, inPicture, inHit);
}

void SequenceAnalysis::OnFailure(int inFrame, const std::string& inError)
{
    mAudience->OnFailure(inFrame, inError);
}

} // namespace RKHost
