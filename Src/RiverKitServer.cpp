#include "RKInitializer.h"

#include <cstdint>
#include <utility>

#include "Commands/StressMediaVector.h"
#include "LoadOrder.h"
#include "MediaManager/FileBuffer.h"
#include "MediaManager/MediaManager.h"
#include "RKDirectoryChangeMonitor.h"
#include "RKDiskCacheManager.h"
#include "RKFileManager.h"
#include "RKVolumeUtilities.h"
#include "RiverKitServer.h"
#include "SDKSupport/MoonVetch.h"
#include "ZOR/Foundation.h"
#include "ZOR/Impl.h"
#include "ZORMessaging/Station.h"
#include "qelcore/Console.h"
#include "qelcore/RecursiveMutex.h"

RK_RECORD_SET_UP("Src/RiverKitServer");

namespace RK
{

namespace Server
{

const qelcore::utility::Guid kMediaManagerClassID =
    qelcore::utility::Guid::StringToGUID("267A9BAA-13DE-47e7-9652-6067D5212D2E", 36);

} // namespace Server

namespace
{

using qelcore::threads::RecursiveMutex;

constinit RecursiveMutex sCriticalSection;
constinit std::int32_t sInitializationCount RK_GUARDED_BY(sCriticalSection) = 0;
constinit Server::StepHook sStepHook RK_GUARDED_BY(sCriticalSection) = nullptr;

struct Step
{
    const char* mName;
    void (*mRun)();
};

void InstallFileBufferFactory()
{
    ZOR::Foundation::SetFileBufferFactory(ZOR::QueryInterface<ZOR::IFileBufferFactory>(
        FileBufferFactory::Singleton::CreateClassRef()));
}

void RemoveFileBufferFactory()
{
    ZOR::Foundation::SetFileBufferFactory(nullptr);
}

void RegisterStressMediaVector()
{
    using Command = Commands::StressMediaVector;
    qelcore::console::CommandRegistry::RegisterCommand(
        Command::kName, Command::kDescription,
        &qelcore::console::CommandRegistrar<Command>::CreateCommand);
}

// Both orders are contract, and neither is the mirror of the other.
constexpr Step kStartSteps[] = {
    {"ZOR::Foundation::Initialize", &ZOR::Foundation::Initialize},
    {"ZOR::Messaging::Initialize", &ZOR::Messaging::Initialize},
    {"RK::FileManager::Startup", &FileManager::Startup},
    {"RK::MediaManager::Startup", &MediaManager::Startup},
    {"RK::DirectoryChangeMonitor::Initialize", &DirectoryChangeMonitor::Initialize},
    {"RK::SDKSupport::Initialize", &SDKSupport::Initialize},
    {"InstallFileBufferFactory", &InstallFileBufferFactory},
    {"RK::VolumeUtilities::Startup", &VolumeUtilities::Startup},
    {"RegisterStressMediaVector", &RegisterStressMediaVector},
};

constexpr Step kStopSteps[] = {
    {"RemoveFileBufferFactory", &RemoveFileBufferFactory},
    {"RK::VolumeUtilities::Shutdown", &VolumeUtilities::Shutdown},
    {"RK::DiskCacheManager::Shutdown", &DiskCacheManager::Shutdown}, // starts on first use
    {"RK::MediaManager::Shutdown", &MediaManager::Shutdown},
    {"RK::FileManager::Shutdown", &FileManager::Shutdown},
    {"RK::DirectoryChangeMonitor::Terminate", &DirectoryChangeMonitor::Terminate},
    {"RK::SDKSupport::Terminate", &SDKSupport::Terminate},
    {"ZOR::Messaging::Terminate", &ZOR::Messaging::Terminate},
    {"ZOR::Foundation::Terminate", &ZOR::Foundation::Terminate},
};

template <std::size_t kCount>
void RunSteps(const Step (&inSteps)[kCount]) RK_REQUIRES(sCriticalSection)
{
    for (const Step& step : inSteps)
    {
        if (sStepHook)
            sStepHook(step.mName);
        step.mRun();
    }
}

} // namespace

void Server::SetStepHook(StepHook inHook) noexcept
{
    RecursiveMutex::ScopedLock lock(sCriticalSection, "RK::Server::SetStepHook");
    sStepHook = inHook;
}

class Initializer::PrivateImpl : public ZOR::Impl
{
public:
    PrivateImpl()
    {
        RecursiveMutex::ScopedLock lock(sCriticalSection, "RK::Initializer::Initializer");
        if (sInitializationCount++ == 0)
            RunSteps(kStartSteps);
    }
    ~PrivateImpl() override
    {
        RecursiveMutex::ScopedLock lock(sCriticalSection, "RK::Initializer::~Initializer");
        if (--sInitializationCount == 0)
            RunSteps(kStopSteps);
    }
};

Initializer::Initializer()
    : mImpl(new PrivateImpl)
{
}

Initializer::Initializer(Initializer&& ioOther) noexcept
    : mImpl(std::exchange(ioOther.mImpl, nullptr))
{
}

Initializer::~Initializer()
{
    delete mImpl;
}

} // namespace RK
