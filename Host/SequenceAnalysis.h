#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <RiverKit/RKDiskCacheManager.h>

#include "AnalysisStore.h"
#include "Player.h"
#include "Sequence.h"

namespace RKHost
{

// Names of files as they are now: other sizes or times of modification make another name.
struct FileVersion
{
    bool mIsThere = false;
    std::uint64_t mSize = 0;
    std::int64_t mSeconds = 0; ///< of the last modification
    std::int64_t mNanoseconds = 0;

    static FileVersion Of(const std::string& inPath);
    /// 32 hexadecimal digits of a hash, of the path too. Empty if the file is not there.
    std::string Name(const std::string& inPath) const;

    friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

// Has the frames of each pass analysed on their way to its audience, and keeps the analyses in a folder.
//
// Threads  The main thread only.
class SequenceAnalysis : public IAudience
{
public:
    static constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 30; ///< kept in the folder
    static constexpr int kMostDays = 30;                                ///< kept without a use

    /// inSequence and inImporter are borrowed.
    /// @throw HostError if the folder can be neither opened nor made.
    SequenceAnalysis(const std::string& inFolder, const Sequence& inSequence, int inFrameCount,
                     const ImporterModule& inImporter);
    /// Waits until what was computed is in the folder, but not for ever.
    ~SequenceAnalysis() override;

    /// @param ioAudience  borrowed until the pass ends. @return what is to hear the pass in its place.
    IAudience& BeginPass(IAudience& ioAudience);
    /// Waits for the analyses of the pass.
    AnalysisFigures EndPass() { return mStore->Finish(); }

    void OnFrame(int inFrame, const Frame& inPicture, bool inHit) override;
    void OnFailure(int inFrame, const std::string& inError) override;

private:
    // Which file a frame that is in the cache came from.
    struct Source
    {
        FileVersion mAtBeginOfPass;
        std::string mName; ///< empty: not known for certain
    };

    const Sequence& mSequence;
    RK::DiskCacheManager::ManagedDirectoryPtr mDirectory;
    std::unique_ptr<AnalysisStore> mStore;
    std::vector<Source> mSources; ///< by frame
    IAudience* mAudience = nullptr;
};

} // namespace RKHost
