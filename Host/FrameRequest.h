#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>

#include <RiverKit/RKIdentifiedDecodeQueue.h>

#include "FilePool.h"
#include "FrameCache.h"
#include "ImporterModule.h"

namespace RKHost
{

/// How the decoding of a frame ended.
struct FrameResult
{
    Frame mFrame;       ///< without pixels after a failure
    std::string mError; ///< empty after success
    bool mCancelled = false;
};

// One frame's way through a decode queue: its file is read on the shared executor for I/O, and then
// decoded into the cache.
//
// The result is delivered exactly once, on any thread, whichever way the frame leaves the queue: the
// queue itself tells nobody of a failure. Requests for the same file are the same work: one of them does
// it, and the others deliver its result.
class FrameRequest : public RK::IdentifiedDecodeRequest,
                     public boost::enable_shared_from_this<FrameRequest>
{
public:
    using Deliver = boost::function<void(const FrameResult&)>;

    /// inCache, inFiles and inImporter are borrowed for the request's life, and while the shared executor
    /// for I/O has work of it.
    FrameRequest(const std::string& inPath, const FrameCache::Key& inKey, FrameCache& inCache,
                 FilePool& inFiles, const ImporterModule& inImporter, const Deliver& inDeliver);

    int InitiateIO(const CompletionFunction& inCompletion) override;
    int GetIOCost() override { return 1; }
    int GetCPUCost() override { return 1; }
    int ProcessCPU() override;
    int CancelQueued() override;
    int CancelDuringCPU() override;
    int CancelDuringIO() override;
    bool HasPriorityOver(const RK::DecodeRequestPtr&) override { return false; }
    qelcore::utility::Guid GetGuid() override { return mGuid; }
    void DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus) override;

private:
    int Read();
    void DeliverOnce(const FrameResult& inResult);
    FrameResult Result() const;
    int DeliverFailure(const std::string& inError);
    int DeliverCancelled();

    const std::string mPath;
    const qelcore::utility::Guid mGuid; ///< of the path
    const FrameCache::Key mKey;
    FrameCache& mCache;
    FilePool& mFiles;
    const ImporterModule& mImporter;
    Deliver mDeliver;
    std::atomic<bool> mCancelled{false};
    mutable std::mutex mMutex;
    bool mDelivered = false; ///< guarded by mMutex, and the result too
    FrameResult mResult;

    /// Written by the I/O stage, then read by the CPU stage; the queue lies between them.
    qelcore::utility::RecycledMemoryPtr mFile;
};

} // namespace RKHost
