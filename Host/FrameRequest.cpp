#include "FrameRequest.h"

#include <exception>

#include "qelcore/MixHash.h"
#include "qelcore/Result.h"

namespace RKHost
{

namespace
{

qelcore::utility::Guid GuidOf(const std::string& inPath)
{
    qelcore::utility::MixHash::HashValue hash{};
    qelcore::utility::MixHash::MixInData(hash, inPath.data(), inPath.size());
    return qelcore::utility::MixHash::ToGuid(hash);
}

FrameResult CancelledResult()
{
    FrameResult result;
    result.mError = "cancelled";
    result.mCancelled = true;
    return result;
}

} // namespace

FrameRequest::FrameRequest(const std::string& inPath, const FrameCache::Key& inKey,
                           FrameCache& inCache, FilePool& inFiles, const ImporterModule& inImporter,
                           const Deliver& inDeliver)
    : mPath(inPath)
    , mGuid(GuidOf(inPath))
    , mKey(inKey)
    , mCache(inCache)
    , mFiles(inFiles)
    , mImporter(inImporter)
    , mDeliver(inDeliver)
{
}

int FrameRequest::InitiateIO(const CompletionFunction& inCompletion)
{
    const auto self = shared_from_this();
    const auto read = [self, inCompletion] { inCompletion(self->Read()); };
    if (qelcore::threads::GetIOBoundExecutor()->Post(read, 0))
        return qelcore::kResult_OK;
    return DeliverFailure("the executor takes no more work");
}

int FrameRequest::Read()
{
    try
    {
        mFile = mFiles.ReadWholeFile(mPath, [this] { return mCancelled.load(); });
        return mFile ? qelcore::kResult_OK : DeliverCancelled();
    }
    catch (const std::exception& error)
    {
        return DeliverFailure(error.what());
    }
}

int FrameRequest::ProcessCPU()
{
    if (mCancelled)
        return DeliverCancelled();
    FrameResult result;
    try
    {
        result.mFrame = mImporter.Decode(mFile->Data(), mFile->Size());
        mFile.reset();
        mCache.Add(mKey, result.mFrame.mPixels);
    }
    catch (const std::exception& error)
    {
        return DeliverFailure(error.what());
    }
    DeliverOnce(result);
    return qelcore::kResult_OK;
}

int FrameRequest::CancelQueued()
{
    DeliverCancelled();
    return qelcore::kResult_OK;
}

int FrameRequest::CancelDuringCPU()
{
    mCancelled = true; // heeded if the stage has not begun in earnest
    return qelcore::kResult_GeneralFailure;
}

int FrameRequest::CancelDuringIO()
{
    mCancelled = true;
    // Cancelled alone the request hears nothing more, if its file has been read meanwhile.
    DeliverCancelled();
    return qelcore::kResult_OK;
}

void FrameRequest::DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int)
{
    DeliverOnce(static_cast<const FrameRequest&>(*inPrimary).Result());
}

void FrameRequest::DeliverOnce(const FrameResult& inResult)
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mDelivered)
            return;
        mDelivered = true;
        mResult = inResult;
    }
    mDeliver(inResult);
}

// A request that was taken out of its I/O may retire before it is told of the cancel.
FrameResult FrameRequest::Result() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mDelivered ? mResult : CancelledResult();
}

int FrameRequest::DeliverFailure(const std::string& inError)
{
    FrameResult result;
    result.mError = inError;
    DeliverOnce(result);
    return qelcore::kResult_GeneralFailure;
}

int FrameRequest::DeliverCancelled()
{
    DeliverOnce(CancelledResult());
    return RK::kDecodeErrorRequestCancelled;
}

} // namespace RKHost
