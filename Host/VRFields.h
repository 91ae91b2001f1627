#pragma once

#include <string>
#include <vector>

#include <RiverKit/RKVRViewerTypes.h>

namespace RKHost
{

// One field of a VR configuration, as the command line has it.
struct VRField
{
    const char* mName;   ///< "captured-horizontal"; its option is "--" and that
    const char* mKey;    ///< in the text
    const char* mValues; ///< which there are, for the help and for refusals
    /// @return false if the text is none of the values; ioConfiguration is then untouched.
    bool (*mSet)(const std::string& inText, RK::VRConfiguration& ioConfiguration);
    std::string (*mShow)(const RK::VRConfiguration& inConfiguration);
};

const std::vector<VRField>& VRFields();

} // namespace RKHost
