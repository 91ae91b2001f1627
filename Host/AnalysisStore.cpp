#include "AnalysisStore.h"

#include <exception>
#include <utility>

#include <boost/make_shared.hpp>

#include "ItemRead.h"

namespace RKHost
{

namespace
{

using RK::DataCache;

constexpr int kUnderWayPerThread = 2;

DataCache::CacheKey KeyOf(const std::string& inName)
{
    return DataCache::CacheKey::CreateDynamic(inName.c_str());
}

// Says what an item is, to whoever looks into the folder.
const DataCache::CacheSubKey& SubKey()
{
    static const auto sSubKey = DataCache::CacheSubKey::CreateStatic("analysis");
    return sSubKey;
}

} // namespace

AnalysisFigures& AnalysisFigures::operator+=(const AnalysisFigures& inOther)
{
    mComputed += inOther.mComputed;
    mFromMemory += inOther.mFromMemory;
    mFromDisk += inOther.mFromDisk;
    mFailed += inOther.mFailed;
    for (std::size_t i = 0; i < mMeanColorSums.size(); ++i)
        mMeanColorSums[i] += inOther.mMeanColorSums[i];
    return *this;
}

AnalysisStore::AnalysisStore(const ImporterModule& inImporter, const RK::DataCachePtr& inFolder)
    : mImporter(inImporter)
    , mChain(boost::make_shared<RK::DataCacheChain>(RK::CreateDataCacheInMemory(), inFolder))
    , mExecutor(qelcore::threads::GetCPUBoundExecutor())
    , mMostUnderWay(mExecutor->GetParallelism() * kUnderWayPerThread)
{
}

AnalysisStore::~AnalysisStore()
{
    Await(0);
}

void AnalysisStore::Analyse(const std::string& inName, const Frame& inFrame)
{
    Await(mMostUnderWay - 1);
    Begin();
    if (inName.empty())
        return Compute(inName, inFrame);
    ReadItem(
        *mChain, KeyOf(inName), SubKey(),
        [this, inName, inFrame](qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer)
        { Use(inResult, inBuffer, inName, inFrame); });
}

AnalysisFigures AnalysisStore::Finish()
{
    Await(0);
    const std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mFigures, AnalysisFigures());
}

void AnalysisStore::Begin()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    ++mUnderWay;
}

// Told with the lock held: when the last one has ended the store may go.
void AnalysisStore::End()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    --mUnderWay;
    mEnded.notify_all();
}

void AnalysisStore::Await(int inMostUnderWay)
{
    std::unique_lock<std::mutex> lock(mMutex);
    mEnded.wait(lock, [&] { return mUnderWay <= inMostUnderWay; });
}

void AnalysisStore::Note(const FrameAnalysis& inAnalysis, int AnalysisFigures::* inOrigin)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    ++(mFigures.*inOrigin);
    for (std::size_t i = 0; i < inAnalysis.mMeanColor.size(); ++i)
        mFigures.mMeanColorSums[i] += inAnalysis.mMeanColor[i];
}

void AnalysisStore::Use(qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer,
                        const std::string& inName, const Frame& inFrame)
{
    const auto analysis =
        inBuffer ? DecodeAnalysis(inBuffer->Data(), inBuffer->Size(), inName) : std::nullopt;
    if (analysis && analysis->mWidth == inFrame.mInfo.mWidth &&
        analysis->mHeight == inFrame.mInfo.mHeight)
    {
        Note(*analysis, inResult == RK::kDataCacheResultItemReturned ? &AnalysisFigures::mFromMemory
                                                                     : &AnalysisFigures::mFromDisk);
        return End();
    }
    if (inResult != RK::kDataCacheResultItemNotFound)
        Replace(inName, inBuffer != nullptr);
    Compute(inName, inFrame);
}

// A put replaces nothing. The folder removes its item before the put that follows, since both wait in one
// queue; the store in memory cannot forget a single item, so another one takes its place.
void AnalysisStore::Replace(const std::string& inName, bool inMemoryToo)
{
    if (inMemoryToo)
        mChain->ReplaceChainLinks(RK::CreateDataCacheInMemory(), nullptr);
    mChain->RemoveItem(KeyOf(inName), SubKey());
}

void AnalysisStore::Compute(const std::string& inName, const Frame& inFrame)
{
    if (mExecutor->Post([this, inName, inFrame] { ComputeNow(inName, inFrame); }, 0))
        return;
    ComputeNow(inName, inFrame);
}

void AnalysisStore::ComputeNow(const std::string& inName, const Frame& inFrame)
{
    try
    {
        const FrameAnalysis analysis = RKHost::Analyse(inFrame, mImporter);
        if (!inName.empty())
            mChain->PutItem(KeyOf(inName), SubKey(), EncodeAnalysis(analysis, inName));
        Note(analysis, &AnalysisFigures::mComputed);
    }
    catch (const std::exception&)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ++mFigures.mFailed;
    }
    End();
}

} // namespace RKHost
