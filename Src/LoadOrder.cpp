#include "LoadOrder.h"

namespace RK
{
namespace LoadOrder
{

namespace
{

constinit std::size_t sRecorded[std::size(kUnits)] = {};
constinit std::size_t sRecordedCount = 0;

} // namespace

Recorder::Recorder(std::size_t inUnit) noexcept
{
    if (sRecordedCount <
        std::size(sRecorded)) // a unit that records twice must not write past the end
        sRecorded[sRecordedCount++] = inUnit;
}

std::size_t RecordedCount() noexcept
{
    return sRecordedCount;
}

std::string_view RecordedAt(std::size_t inPlace) noexcept
{
    return kUnits[sRecorded[inPlace]];
}

} // namespace LoadOrder
} // namespace RK
