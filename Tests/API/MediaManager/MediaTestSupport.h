#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "Support/FakeMediaManager.h"
#include "qelcore/RecycledMemory.h"

namespace Testing
{

using Log = std::vector<std::string>;
using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

inline RecycledMemoryPtr Memory(std::size_t inSize)
{
    return RecycledMemory::Create(inSize);
}

/// Memory that calls inFunction when it is freed.
inline RecycledMemoryPtr MemoryThatTells(const std::function<void()>& inFunction)
{
    static char sBytes[100];
    const boost::shared_ptr<void> owner(static_cast<void*>(sBytes),
                                        [inFunction](void*) { inFunction(); });
    return RecycledMemory::AdaptAsRecycledMemory(owner, sBytes, sizeof(sBytes));
}

// Does something on another thread, and says whether that could be done while the caller waited. Where
// it could, no time passes; where it cannot, it is done once the caller has let go of its locks.
class OtherThread
{
public:
    bool Could(const std::function<void()>& inFunction)
    {
        mDone.push_back(std::async(std::launch::async, inFunction));
        return mDone.back().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }

private:
    std::vector<std::future<void>> mDone; // joined by the destructor
};

class FakeManagerFixture : public ::testing::Test
{
protected:
    FakeMediaManager* const mFake = new FakeMediaManager;
    const RK::IMediaManagerRef mManager{mFake};
    OtherThread mOther;

    ~FakeManagerFixture() override { mFake->lastMap.reset(); } // it holds the manager
    Log TakeLog() { return mFake->TakeLog(); }
};

} // namespace Testing
