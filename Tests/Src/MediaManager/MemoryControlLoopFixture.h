#pragma once

#include <map>
#include <string>

#include "MediaManager/MemoryControlLoop.h"
#include "qelcore/DebugDatabase.h"

namespace Testing
{

/// Settings of the debug database, until it ends.
class ScopedSettings
{
public:
    ScopedSettings() = default;
    ~ScopedSettings()
    {
        for (const auto& entry : mBefore)
        {
            if (entry.second == kNone)
                Database().RemoveEntry(entry.first);
            else
                Database().SetEntry(entry.first, entry.second);
        }
    }
    ScopedSettings(const ScopedSettings&) = delete;
    ScopedSettings& operator=(const ScopedSettings&) = delete;

    void Set(const std::string& inKey, const std::string& inValue)
    {
        mBefore.emplace(inKey, Database().GetEntry(inKey, kNone));
        Database().SetEntry(inKey, inValue);
    }
    void TurnLoop(bool inOn) { Set("RK.MemoryControlLoopActive", inOn ? "true" : "false"); }
    /// @param inPolicy  its whole name.
    void TurnPolicy(const std::string& inPolicy, bool inOn)
    {
        Set("RK.MemoryControlLoop.Config.Enable" + inPolicy, inOn ? "true" : "false");
    }

private:
    static qelcore::debug::DebugDatabase& Database()
    {
        return qelcore::debug::DebugDatabase::Instance();
    }
    static constexpr char kNone[] = "(none)";
    std::map<std::string, std::string> mBefore;
};

/// Bytes a sample, as the statistics hold them.
constexpr double ChangeOf(double inBytes)
{
    return inBytes / 1073741824.0;
}

/// A figure as it is after some samples. Changes are in bytes a sample.
inline RK::MemoryStatistic Statistic(std::uint64_t inCurrent, double inReactiveBytes = 0,
                                     double inSmoothBytes = 0)
{
    RK::MemoryStatistic statistic;
    statistic.current = inCurrent;
    statistic.last = inCurrent;
    statistic.sampleCount = 2;
    statistic.reactiveChange = ChangeOf(inReactiveBytes);
    statistic.smoothChange = ChangeOf(inSmoothBytes);
    return statistic;
}

} // namespace Testing
