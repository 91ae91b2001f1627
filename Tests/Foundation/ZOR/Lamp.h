#pragma once

#include <atomic>

#include "ZOR/WeakReference.h"

namespace Testing
{

class ILamp : public ZOR::ZORUnknown
{
public:
    virtual int Glow() = 0;
};
inline const qelcore::utility::Guid& GuidOf(ILamp*)
{
    static constexpr qelcore::utility::Guid sGuid(2, 1);
    return sGuid;
}

class Lamp : public ZOR::WeakCountedObject<ILamp>
{
public:
    explicit Lamp(std::atomic<int>& ioDestroyed)
        : mDestroyed(ioDestroyed)
    {
    }
    ~Lamp() override
    {
        mGlow = 0;
        ++mDestroyed;
    }
    int Glow() override { return mGlow; }

private:
    std::atomic<int>& mDestroyed;
    int mGlow = 5;
};

} // namespace Testing
