#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "ZOR/WeakReference.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Message.h"
#include "ZORMessaging/Station.h"

namespace Testing
{

class NumberMessage : public ZOR::MessageImpl<NumberMessage>
{
public:
    explicit NumberMessage(int inNumber)
        : mNumber(inNumber)
    {
    }
    const int mNumber;
};

class PlainMessage : public ZOR::MessageImpl<PlainMessage>
{
};

inline int NumberOf(const ZOR::Message& inMessage)
{
    return inMessage.GetMessageID() == NumberMessage::GetClassMessageID()
               ? static_cast<const NumberMessage&>(inMessage).mNumber
               : -1;
}

/// Writes down the numbers it hears; -1 for another message.
class Recorder : public ZOR::Listener
{
public:
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        mHeard.push_back(NumberOf(inMessage));
        if (mThen)
            mThen();
    }
    std::vector<int> mHeard;
    std::function<void()> mThen;
};

/// The same in the counted form; writes into the list given.
class SafeRecorder : public ZOR::WeakCountedObject<ZOR::ISafeListener>
{
public:
    explicit SafeRecorder(std::vector<int>& ioHeard, std::function<void()> inThen = {})
        : mHeard(ioHeard)
        , mThen(std::move(inThen))
    {
    }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        mHeard.push_back(NumberOf(inMessage));
        if (mThen)
            mThen();
    }

private:
    std::vector<int>& mHeard;
    const std::function<void()> mThen;
};

} // namespace Testing
