// VR text and the JSON below it: any bytes are a configuration or boost::bad_any_cast. What was read and
// written once reads the same again, and a value that parses comes back from its own text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <boost/any.hpp>

#include "RKVRViewerTypes.h"
#include "qelcore/Serialization.h"

namespace
{

using qelcore::UTF8String;

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

void CheckConfiguration(const UTF8String& inText)
{
    try
    {
        const RK::VRConfiguration read = RK::VRConfigurationFromSerializedString(inText);
        const UTF8String text = RK::VRConfigurationToSerializedString(read);
        const RK::VRConfiguration again = RK::VRConfigurationFromSerializedString(text);
        Require(RK::VRConfigurationToSerializedString(again) == text);
        Require(again.projectionType == read.projectionType &&
                again.fieldOfVerticalView == read.fieldOfVerticalView &&
                again.ambisonicsHRIR == read.ambisonicsHRIR);
    }
    catch (const boost::bad_any_cast&)
    {
        // A client that reads the texts of others has to expect it.
    }
}

void CheckJSON(const UTF8String& inText)
{
    using namespace qelcore::serialization;
    const Variant value = JSONParse(inText);
    if (value == nullptr)
        return;
    for (const bool indented : {false, true})
    {
        const UTF8String text = GetJSONUTF8String(*value, indented);
        const Variant again = JSONParse(text);
        Require(again != nullptr && GetJSONUTF8String(*again, indented) == text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    const UTF8String text =
        qelcore::ToUTF8String(std::string_view(reinterpret_cast<const char*>(inBytes), inSize));
    CheckConfiguration(text);
    CheckJSON(text);
    return 0;
}
