#include "TQM/ApplicationType.h"

#include <atomic>

namespace TQM
{
namespace
{
constinit std::atomic<std::int32_t> sApplicationType{0};
} // namespace

std::int32_t GetApplicationType()
{
    return sApplicationType.load();
}

void SetApplicationType(std::int32_t inType)
{
    sApplicationType.store(inType);
}

} // namespace TQM
