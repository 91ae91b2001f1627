#include "Platform/FolderEvents.h"

#include "CurrentInstance.h"
#include "LinuxFolderEvents.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<IFolderEvents> sCurrent;

IFolderEvents& RealFolderEvents()
{
    static LinuxFolderEvents* const sReal = new LinuxFolderEvents; // outlives all statics
    return *sReal;
}

} // namespace

IFolderEventStream::~IFolderEventStream() = default;

IFolderEvents::~IFolderEvents() = default;

IFolderEvents& FolderEvents()
{
    return sCurrent.Get(RealFolderEvents);
}

ScopedFolderEvents::ScopedFolderEvents(IFolderEvents& inSource)
    : mBefore(sCurrent.Exchange(&inSource))
{
}

ScopedFolderEvents::~ScopedFolderEvents()
{
    sCurrent.Exchange(mBefore);
}

} // namespace Platform
