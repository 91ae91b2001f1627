#include "Platform/VolumeTable.h"

#include "CurrentInstance.h"
#include "LinuxVolumeTable.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<IVolumeTable> sCurrent;

IVolumeTable& RealVolumeTable()
{
    static LinuxVolumeTable* const sReal = new LinuxVolumeTable; // outlives all statics
    return *sReal;
}

} // namespace

IVolumeTable::~IVolumeTable() = default;

IVolumeTable& VolumeTable()
{
    return sCurrent.Get(RealVolumeTable);
}

ScopedVolumeTable::ScopedVolumeTable(IVolumeTable& inTable)
    : mBefore(sCurrent.Exchange(&inTable))
{
}

ScopedVolumeTable::~ScopedVolumeTable()
{
    sCurrent.Exchange(mBefore);
}

} // namespace Platform
