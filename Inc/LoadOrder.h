#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

// The order in which the library's units are set up when it is loaded. That order is contract, and
// comes from the list in Src/Sources.cmake. Each unit below records itself with one line ahead of its
// first static object:
//
//     RK_RECORD_SET_UP("Src/MediaType");
//
// so that a test can compare what happened with what is promised. Recording needs no set-up itself.
namespace RK
{
namespace LoadOrder
{

/// The units that set something up at load time, in their order.
inline constexpr std::string_view kUnits[] = {
    "Src/DataCacheInFilesystem",
    "Src/ErrorReport",
    "Src/RiverKitServer",
    "Src/MediaType",
    "Src/PixelFormat",
    "Src/PlatformWindowManager",
    "Src/StreamLabel",
    "Src/VolumeUtilities",
    "Src/Audio/AudioChannelType",
    "Src/Linux/LinuxDirectoryChangeMonitor",
    "Src/Linux/LinuxVolumeUtilities",
    "Src/MediaManager/MediaManager",
    "Src/PixelAspectRatio/PixelAspectRatio",
    "Src/Renderable/RenderableCutlistFactory",
    "Src/SDKSupport/MoonVetch",
    "Src/Commands/StressMediaVector",
};

/// A name that is not in the list does not compile.
consteval std::size_t IndexOf(std::string_view inUnit)
{
    for (std::size_t i = 0; i < std::size(kUnits); ++i)
    {
        if (kUnits[i] == inUnit)
            return i;
    }
    throw "this unit is not in kUnits";
}

/// Notes that the set-up of a unit has begun. Only for the thread that loads the library.
class Recorder
{
public:
    explicit Recorder(std::size_t inUnit) noexcept;
};

/// How many units have been set up, and which came at a place in the order.
std::size_t RecordedCount() noexcept;
std::string_view RecordedAt(std::size_t inPlace) noexcept;

} // namespace LoadOrder
} // namespace RK

#define RK_RECORD_SET_UP(inUnit)                                                                   \
    static const ::RK::LoadOrder::Recorder sSetUpRecorder(::RK::LoadOrder::IndexOf(inUnit))
