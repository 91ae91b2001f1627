#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace qelcore
{
namespace debug
{

// Counts the calls that run into something which may be taken away, so that who takes it away can
// wait for them. Enter() must not begin once the thing can no longer be found: that is its owner's
// to see to.
class CallGate
{
public:
    void Enter()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ++mCallers[std::this_thread::get_id()];
    }
    void Leave()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto caller = mCallers.find(std::this_thread::get_id());
        if (--caller->second == 0)
            mCallers.erase(caller);
        if (mCallers.empty())
            mEmpty.notify_all();
    }
    /// Waits until no call runs. Returns at once from within such a call, which could not end
    /// otherwise.
    void WaitUntilEmpty()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        if (mCallers.count(std::this_thread::get_id()) != 0)
            return;
        mEmpty.wait(lock, [this] { return mCallers.empty(); });
    }

    // The call of one thread, left at the end of its scope. Entered by who found the thing.
    class Call
    {
    public:
        explicit Call(CallGate& inGate)
            : mGate(inGate)
        {
        }
        ~Call() { mGate.Leave(); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        CallGate& mGate;
    };

private:
    std::mutex mMutex;
    std::condition_variable mEmpty;
    std::map<std::thread::id, int> mCallers;
};

// A function that one thread may replace while others call it.
template <class Function>
class ReplaceableFunction
{
public:
    /// When this returns the function before is not running, unless it is the caller.
    void Replace(const Function& inFunction)
    {
        std::shared_ptr<Slot> slot = inFunction ? std::make_shared<Slot>(inFunction) : nullptr;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mSlot.swap(slot);
        }
        if (slot)
            slot->gate.WaitUntilEmpty();
    }
    /// Calls the function with no lock held. @return false if there is none.
    template <class... Arguments>
    bool Call(const Arguments&... inArguments)
    {
        std::shared_ptr<Slot> slot;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (!mSlot)
                return false;
            mSlot->gate.Enter();
            slot = mSlot;
        }
        const CallGate::Call call(slot->gate);
        slot->function(inArguments...);
        return true;
    }

private:
    struct Slot
    {
        explicit Slot(const Function& inFunction)
            : function(inFunction)
        {
        }
        const Function function;
        CallGate gate;
    };
    std::mutex mMutex;
    std::shared_ptr<Slot> mSlot;
};

} // namespace debug
} // namespace qelcore
