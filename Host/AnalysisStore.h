#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include <RiverKit/RKDataCacheChain.h>

#include "FrameAnalysis.h"
#include "qelcore/AsyncExecutor.h"

namespace RKHost
{

/// Where analyses came from.
struct AnalysisFigures
{
    int mComputed = 0;
    int mFromMemory = 0;
    int mFromDisk = 0;
    int mFailed = 0;                                  ///< could not be computed
    std::array<std::uint64_t, 3> mMeanColorSums = {}; ///< of FrameAnalysis::mMeanColor

    int Count() const { return mComputed + mFromMemory + mFromDisk; }
    AnalysisFigures& operator+=(const AnalysisFigures& inOther);
};

// The analyses of frames, in a chain of a store in memory and one in a folder. What is in neither, or is
// damaged, is computed on the shared executor and put into both.
//
// Threads  Analyse and Finish on one thread.
class AnalysisStore
{
public:
    /// @param inImporter  borrowed for the store's life.
    /// @param inFolder    the store in a folder.
    AnalysisStore(const ImporterModule& inImporter, const RK::DataCachePtr& inFolder);
    /// Waits for what is under way.
    ~AnalysisStore();
    AnalysisStore(const AnalysisStore&) = delete;
    AnalysisStore& operator=(const AnalysisStore&) = delete;

    /// Gets a frame's analysis. Waits while too many are under way, since each holds its frame.
    /// @param inName  changes whenever the frame's file does, and may be a file's name. Empty: the file is
    ///                not known, so the analysis is computed and not kept.
    void Analyse(const std::string& inName, const Frame& inFrame);
    /// Waits for what is under way. @return the figures since the last call.
    AnalysisFigures Finish();

    /// The chain, for a look at what waits to be written.
    const boost::shared_ptr<RK::DataCacheChain>& Chain() const { return mChain; }

private:
    void Begin();
    void End();
    void Await(int inMostUnderWay);
    void Note(const FrameAnalysis& inAnalysis, int AnalysisFigures::* inOrigin);
    void Use(qelcore::Result inResult, const RK::DataCache::CacheBuffer& inBuffer,
             const std::string& inName, const Frame& inFrame);
    void Replace(const std::string& inName, bool inMemoryToo);
    void Compute(const std::string& inName, const Frame& inFrame);
    void ComputeNow(const std::string& inName, const Frame& inFrame);

    const ImporterModule& mImporter;
    const boost::shared_ptr<RK::DataCacheChain> mChain;
    const qelcore::threads::AsyncExecutorPtr mExecutor;
    const int mMostUnderWay;
    std::mutex mMutex; // guards what follows
    std::condition_variable mEnded;
    int mUnderWay = 0;
    AnalysisFigures mFigures;
};

} // namespace RKHost
