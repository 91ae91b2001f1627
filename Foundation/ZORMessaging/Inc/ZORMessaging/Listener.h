#pragma once

#include "ZOR/InterfaceRef.h"
#include "ZOR/WeakReference.h"
#include "ZORMessaging/Message.h"
#include "qelcore/Export.h"

namespace ZOR
{

// Hears what is told on stations. The plain form: whoever adds one removes it before its end.
class RK_API Listener
{
public:
    virtual ~Listener();
    /// On the thread that broadcasts, with no lock of the station held; by several threads at a time if
    /// several broadcast. What it raises ends in the trace.
    virtual void ListenToMessage(const Message& inMessage) = 0;
};

// The counted form: a station holds it weakly, so one that has gone is simply not called any more, and
// one that is called stays for the time of the call. An implementation derives from
// WeakCountedObject<ISafeListener>.
class RK_API ISafeListener : public ZORUnknown
{
public:
    /// As Listener::ListenToMessage.
    virtual void ListenToMessage(const Message& inMessage) = 0;
    ~ISafeListener() override;
};

using ISafeListenerRef = InterfaceRef<ISafeListener, ISafeListener>;
RK_API const qelcore::utility::Guid& GuidOf(ISafeListener*);

} // namespace ZOR
