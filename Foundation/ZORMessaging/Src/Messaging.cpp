#include "PostedMessages.h"
#include "ZORMessaging/Station.h"
#include "qelcore/Contract.h"
#include "qelcore/RecursiveMutex.h"

namespace ZOR
{

const StationID kStation_DirectoryChange = StationID::CreateStatic("ZOR.Station.DirectoryChange");

namespace
{

using qelcore::threads::RecursiveMutex;

constinit RecursiveMutex sMutex;
constinit int sInitializationCount RK_GUARDED_BY(sMutex) = 0;

} // namespace

void Messaging::Initialize()
{
    RecursiveMutex::ScopedLock lock(sMutex, "ZOR::Messaging::Initialize");
    if (sInitializationCount++ == 0)
        StationRegistry::RegisterStation(kStation_DirectoryChange);
}

void Messaging::Terminate()
{
    RecursiveMutex::ScopedLock lock(sMutex, "ZOR::Messaging::Terminate");
    RK_REQUIRE_CONTRACT(sInitializationCount > 0, "sInitializationCount > 0",
                        "Foundation/ZORMessaging/Src/Messaging");
    if (--sInitializationCount > 0)
        return;
    StationRegistry::DisposeStation(kStation_DirectoryChange);
    Details::DropPostedMessages();
}

} // namespace ZOR
