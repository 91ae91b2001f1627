#include "RKFontServerState.h"

namespace RK
{

namespace
{

constinit std::uint32_t sFontServerState = 0;

} // namespace

std::uint32_t GetFontServerState()
{
    return sFontServerState;
}

void SetFontServerState(std::uint32_t inState)
{
    sFontServerState = inState;
}

} // namespace RK
