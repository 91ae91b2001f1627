#include "qelcore/DebugMonitor.h"

#include "CallGate.h"

namespace qelcore
{
namespace debug
{
namespace
{

struct Source
{
    explicit Source(const DebugMonitorCallback& inCallback)
        : callback(inCallback)
    {
    }
    const DebugMonitorCallback callback;
    CallGate gate;
};
using SourcePtr = std::shared_ptr<Source>;

struct Registry
{
    // Held before a gate's own mutex, so that no call can begin once its source is off the map.
    std::mutex mMutex;
    std::map<std::string, SourcePtr> mSources;

    /// @param inSource  null takes the name away. @return what was there before.
    SourcePtr Exchange(const std::string& inName, SourcePtr inSource)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (inSource)
        {
            mSources[inName].swap(inSource);
            return inSource;
        }
        const auto found = mSources.find(inName);
        if (found == mSources.end())
            return nullptr;
        const SourcePtr before = found->second;
        mSources.erase(found);
        return before;
    }

    SourcePtr FindAndEnter(const std::string& inName)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mSources.find(inName);
        if (found == mSources.end())
            return nullptr;
        found->second->gate.Enter();
        return found->second;
    }
};

Registry& TheRegistry()
{
    // Never destroyed: static objects unregister themselves during exit.
    static Registry& sRegistry = *new Registry;
    return sRegistry;
}

void ReplaceAndWait(const char* inName, const SourcePtr& inSource)
{
    if (const SourcePtr before = TheRegistry().Exchange(inName, inSource))
        before->gate.WaitUntilEmpty();
}

} // namespace

void RegisterDebugMonitorCallback(const char* inName, const DebugMonitorCallback& inCallback)
{
    ReplaceAndWait(inName, std::make_shared<Source>(inCallback));
}

void UnregisterDebugMonitorCallback(const char* inName)
{
    ReplaceAndWait(inName, nullptr);
}

bool GenerateDebugMonitorReport(const char* inName, UTF16StringStream& outReport)
{
    const SourcePtr source = TheRegistry().FindAndEnter(inName);
    if (!source)
        return false;
    const CallGate::Call call(source->gate);
    source->callback(outReport);
    return true;
}

std::vector<std::string> ListDebugMonitorSources()
{
    std::vector<std::string> names;
    const std::lock_guard<std::mutex> lock(TheRegistry().mMutex);
    for (const auto& source : TheRegistry().mSources)
        names.push_back(source.first);
    return names;
}

} // namespace debug
} // namespace qelcore
