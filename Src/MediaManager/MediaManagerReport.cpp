// What the manager says about itself: statistics, the debug monitor's report, the console command.
#include "MediaManager/MediaManager.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <ostream>

#include "MediaManager/MediaManagerStatics.h"
#include "qelcore/Console.h"
#include "qelcore/NumberText.h"

namespace RK
{

using qelcore::threads::RecursiveMutex;
using qelcore::utility::NumberToMemoryString;
using qelcore::utility::NumberToString;

namespace
{

constexpr std::size_t kHistogramBins = 32; // by the bit length of the size
constexpr std::uint64_t kFirstSizeBeyondHistogram = std::uint64_t{1} << (kHistogramBins - 1);

using Histogram = std::array<std::uint64_t, kHistogramBins + 1>; // the last: larger items

void CountSizes(const MediaWeightMap& inWeights, Histogram& ioCounts)
{
    for (const auto& entry : inWeights)
        ++ioCounts[std::min<std::size_t>(static_cast<std::size_t>(std::bit_width(entry.first.size)),
                                         kHistogramBins)];
}

void PrintHistogram(const Histogram& inCounts, std::ostream& outStream)
{
    for (std::size_t bits = 0; bits < kHistogramBins; ++bits)
    {
        const std::uint64_t first = bits == 0 ? 0 : std::uint64_t{1} << (bits - 1);
        const std::uint64_t last = (std::uint64_t{1} << bits) - 1;
        outStream << inCounts[bits] << "items between " << first << " bytes and " << last
                  << " bytes: \n";
    }
}

qelcore::UTF16String MemoryText(std::uint64_t inBytes)
{
    return NumberToMemoryString(inBytes, 2, false);
}

// Text that is no number counts as 0, as do negative numbers.
std::size_t BytesOf(const qelcore::UTF16String& inArguments)
{
    if (inArguments.find_first_not_of(u" \t\r\n") == qelcore::UTF16String::npos)
        return std::numeric_limits<std::size_t>::max();
    const double bytes = qelcore::utility::StringToNumber(inArguments);
    if (!(bytes > 0))
        return 0;
    return bytes < 18446744073709551616.0 ? static_cast<std::size_t>(bytes)
                                          : std::numeric_limits<std::size_t>::max();
}

} // namespace

namespace Commands
{

class PurgeMediaManager : public qelcore::console::Command
{
public:
    using Command::Command;
    void Execute(const qelcore::UTF16String& inArguments,
                 qelcore::UTF16OutputStream& outStream) override
    {
        const std::uint64_t purged = MM::Purge(BytesOf(inArguments), kPurgeUrgency_Immediate);
        outStream << "Purged: " << MemoryText(purged) << "\n";
    }
};

} // namespace Commands

void Details::RegisterPurgeCommand(const qelcore::UTF16String& inName,
                                   const qelcore::UTF16String& inDescription)
{
    using Registrar = qelcore::console::CommandRegistrar<Commands::PurgeMediaManager>;
    qelcore::console::CommandRegistry::RegisterCommand(inName, inDescription,
                                                       &Registrar::CreateCommand);
}

void MediaManager::Statistics(std::ostream& outStream)
{
    Histogram counts{};
    std::uint64_t space = 0;
    std::uint64_t items = 0;
    std::uint64_t lost = 0;
    if (const MediaManagerRef manager = Running())
    {
        RecursiveMutex::ScopedLock lock(manager->mMutex, "RK::MediaManager::Statistics");
        space = manager->mCurrentSpace;
        items = manager->mWeightMap.size() + manager->mPriorityZeroWeightMap.size();
        lost = manager->GetLostEventCount();
        CountSizes(manager->mWeightMap, counts);
        CountSizes(manager->mPriorityZeroWeightMap, counts);
    }
    outStream << "----- Media Manager Statistics -----\n"
              << "Capacity: " << GetFixedMaxCacheSize() << " bytes\n"
              << "Usage: " << space << " bytes\n"
              << "Usage: " << items << " items\n";
    PrintHistogram(counts, outStream);
    outStream << counts[kHistogramBins] << "items of " << kFirstSizeBeyondHistogram
              << " bytes or more: \n"
              << "Lost events: " << lost << "\n";
}

void MediaManager::ReportMemoryControlLoop(qelcore::UTF16StringStream& outReport) const
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::ReportMemoryControlLoop");
    if (!mControlLoopState)
        return;
    const std::uint64_t fixed = GetFixedMaxCacheSize();
    mControlLoopState->GenerateDebugMonitorReport(LimitsOf(fixed, fixed), outReport);
}

void MediaManager::OnDebugMonitorCallback(qelcore::UTF16StringStream& outReport) const
{
    ReportMemoryControlLoop(outReport);
    outReport << "Number Of Entries: " << NumberToString(GetNumberOfEntries()) << "\n"
              << "Maximum Space: " << MemoryText(GetMaximumSize())
              << ", Priority Zero: " << MemoryText(GetMaxPriorityZeroCacheSize()) << "\n"
              << "Min Allowed Space: " << MemoryText(GetMinimumAllowedSize()) << "\n"
              << "Max Allowed Space: " << MemoryText(GetMaximumAllowedSize()) << "\n"
              << "Has Suff. Memory: " << (HasSufficientMemory() ? "True" : "False") << "\n"
              << "Lost Events: " << NumberToString(static_cast<double>(GetLostEventCount()))
              << "\n";
}

} // namespace RK
