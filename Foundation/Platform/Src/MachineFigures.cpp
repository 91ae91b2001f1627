#include "Platform/MachineFigures.h"

#include "CurrentInstance.h"
#include "LinuxMachineFigures.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<IMachineFigures> sCurrent;

IMachineFigures& RealMachineFigures()
{
    static LinuxMachineFigures* const sReal = new LinuxMachineFigures; // outlives all statics
    return *sReal;
}

} // namespace

IMachineFigures::~IMachineFigures() = default;

IMachineFigures& MachineFigures()
{
    return sCurrent.Get(RealMachineFigures);
}

ScopedMachineFigures::ScopedMachineFigures(IMachineFigures& inFigures)
    : mBefore(sCurrent.Exchange(&inFigures))
{
}

ScopedMachineFigures::~ScopedMachineFigures()
{
    sCurrent.Exchange(mBefore);
}

} // namespace Platform
