#include "FrameRequest.h"

#include <exception>

#include "qelcore/Result.h"

namespace RKHost
{

FrameRequest::FrameRequest(const std::string& inPath, const FrameCache::Key& inKey,
                           FrameCache& inCache, FilePool& inFiles, const ImporterModule& inImporter,
                           const Deliver& inDeliver)
    : mPath(inPath)
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
    mDeliver(result);
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
    mCancelled = true; // whichever step comes next delivers
    return qelcore::kResult_OK;
}

int FrameRequest::DeliverFailure(const std::string& inError)
{
    FrameResult result;
    result.mError = inError;
    mDeliver(result);
    return qelcore::kResult_GeneralFailure;
}

int FrameRequest::DeliverCancelled()
{
    FrameResult result;
    result.mError = "cancelled";
    result.mCancelled = true;
    mDeliver(result);
    return RK::kDecodeErrorRequestCancelled;
}

} // namespace RKHost
