#pragma once

#include <memory>
#include <set>

#include "Descriptors.h"
#include "Platform/MemoryPressure.h"

namespace Testing
{

/// A system that is short of memory when the test says so. One thread at a time.
class FakeMemoryPressure : public Platform::IMemoryPressure
{
public:
    int Listen(std::unique_ptr<Platform::IMemoryPressureListener>& outListener) override
    {
        outListener.reset();
        if (failure == 0)
            outListener = std::make_unique<Listener>(*this);
        return failure;
    }
    void Signal()
    {
        for (const Listener* const listener : mListeners)
            listener->mEvent.Signal();
    }
    std::size_t ListenerCount() const { return mListeners.size(); }

    int failure = 0; // what Listen answers, a number of errno

private:
    class Listener : public Platform::IMemoryPressureListener
    {
    public:
        explicit Listener(FakeMemoryPressure& inOwner)
            : mOwner(inOwner)
        {
            mOwner.mListeners.insert(this);
        }
        ~Listener() override { mOwner.mListeners.erase(this); }
        int Descriptor() const override { return mEvent.Get(); }
        bool Take() override { return mEvent.Take() != 0; }

        EventDescriptor mEvent;

    private:
        FakeMemoryPressure& mOwner;
    };

    std::set<Listener*> mListeners;
    Platform::ScopedMemoryPressure mScope{*this};
};

} // namespace Testing
