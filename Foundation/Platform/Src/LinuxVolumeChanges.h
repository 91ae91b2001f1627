#pragma once

#include <memory>
#include <string>

#include "OwnedDescriptor.h"
#include "Platform/VolumeTable.h"

namespace Platform
{

// The kernel tells a change of the mount table once to each open file of it, and every look at that file
// takes the telling away: a loop that looks at a set of descriptors within another set would swallow it. In
// a set of its own, on the edge of being readable (which the table always is), it stays until it is taken.
class LinuxVolumeChanges : public IVolumeChanges
{
public:
    /// @return null if there are no descriptors left, or inPath is no table of mounts.
    static std::unique_ptr<LinuxVolumeChanges> Create(const std::string& inPath);

    int Descriptor() const override { return mSet.Get(); }
    void Clear() override;

private:
    LinuxVolumeChanges(OwnedDescriptor inTable, OwnedDescriptor inSet) noexcept;

    const OwnedDescriptor mTable;
    const OwnedDescriptor mSet;
};

} // namespace Platform
