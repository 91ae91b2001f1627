#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "ZOR/SingletonSupport.h"

namespace Testing
{

class IClerk : public ZOR::ZORUnknown
{
public:
    virtual int Number() = 0;
};

// A singleton that counts how often it was made and destroyed; Tag keeps the tests apart.
template <int Tag>
class Clerk : public IClerk
{
public:
    using Ref = ZOR::InterfaceRef<Clerk, IClerk>;
    using Support = ZOR::SingletonSupport<Ref>;

    Clerk()
    {
        if (sFailures > 0)
        {
            --sFailures;
            throw std::runtime_error("no clerk");
        }
        mNumber = ++sMade;
        EXPECT_EQ(1, ++sAlive);
    }
    ~Clerk() override
    {
        EXPECT_EQ(0, --sAlive);
        ++sDestroyed;
        mNumber = -1;
    }
    void AddRef() override { Support::AddRef(this); }
    void Release() override { Support::Release(this); }
    qelcore::Result QueryMap(const ZOR::CFUUIDBytes&, void**) override
    {
        return qelcore::kResult_GeneralFailure;
    }
    ZOR::ZORUnknown* GetZORUnknown() override { return this; }
    int Number() override { return mNumber; }

    inline static std::atomic<int> sMade{0};
    inline static std::atomic<int> sDestroyed{0};
    inline static std::atomic<int> sAlive{0};
    inline static std::atomic<int> sFailures{0}; ///< so many constructions to come throw

private:
    int mNumber;
};

} // namespace Testing
