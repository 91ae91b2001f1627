#pragma once

#include <condition_variable>
#include <mutex>

namespace Testing
{

/// Closed until somebody opens it; holds up whoever comes before. Can count who has come.
class Gate
{
public:
    void Open()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mOpen = true;
        mChanged.notify_all();
    }
    void Pass()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        ++mCome;
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return mOpen; });
    }
    void WaitUntilCome(int inCount)
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [&] { return mCome >= inCount; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mOpen = false;
    int mCome = 0;
};

} // namespace Testing
