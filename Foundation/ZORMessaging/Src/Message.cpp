#include "ZORMessaging/Message.h"

#include <cstring>

#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MixHash.h"

namespace ZOR
{

Message::~Message() = default;
Listener::~Listener() = default;
ISafeListener::~ISafeListener() = default;

const qelcore::utility::Guid& GuidOf(ISafeListener*)
{
    static const qelcore::utility::Guid sGuid(0x6D2E90B1F7584AC3,
                                              static_cast<std::int64_t>(0xA1F04C7B93D8265E));
    return sGuid;
}

MessageID HashMessageTypeNameToMessageID(const char* inTypeName)
{
    const std::size_t length = std::strlen(inTypeName);
    qelcore::utility::MixHash::HashValue state = {0, 0, 0, static_cast<std::uint32_t>(length)};
    qelcore::utility::MixHash::MixInData(state, inTypeName, length);
    return MessageID{state[0]} << 32 | state[1];
}

boost::function<void()> Details::CreateBroadcast(const StationID& inStation,
                                                 const boost::shared_ptr<const Message>& inMessage)
{
    return [inStation, inMessage] { StationUtils::BroadcastMessage(inStation, *inMessage); };
}

} // namespace ZOR
