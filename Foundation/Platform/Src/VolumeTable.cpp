#include "Platform/VolumeTable.h"

#include <cerrno>

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

IVolumeChanges::~IVolumeChanges() = default;

IVolumeTable::~IVolumeTable() = default;

int IVolumeTable::Label(const std::string&, std::string&)
{
    return ENOTTY;
}

std::unique_ptr<IVolumeChanges> IVolumeTable::WatchChanges()
{
    return nullptr;
}

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
