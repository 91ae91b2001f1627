#include "ZOR/Exception.h"
#include "ZOR/FileBuffer.h"
#include "ZOR/Impl.h"
#include "ZOR/InterfaceRef.h"
#include "ZOR/QELErrorManager.h"
#include "ZOR/WeakReference.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Contract.h"

namespace ZOR
{

using qelcore::utility::Guid;

Exception::Exception(const std::string& inWhat)
    : mWhat(inWhat)
{
}
Exception::~Exception() = default;

const char* Exception::what() const noexcept
{
    return mWhat.c_str();
}

NullInterfaceException::NullInterfaceException(const std::string& inTypeName)
    : Exception("Null interface: " + inTypeName)
{
}
NullInterfaceException::~NullInterfaceException() = default;

Impl::~Impl() = default;
QELErrorManager::~QELErrorManager() = default;
ZORUnknown::~ZORUnknown() = default;
IWeakReferenceCapable::~IWeakReferenceCapable() = default;
IFileBuffer::~IFileBuffer() = default;
IFileBufferFactory::~IFileBufferFactory() = default;

CFUUIDBytes ToUUIDBytes(const Guid& inGuid) noexcept
{
    CFUUIDBytes result;
    const std::uint64_t halves[2] = {static_cast<std::uint64_t>(inGuid.High()),
                                     static_cast<std::uint64_t>(inGuid.Low())};
    for (int i = 0; i < 16; ++i)
        result.bytes[i] = static_cast<std::uint8_t>(halves[i / 8] >> (56 - i % 8 * 8));
    return result;
}

Guid ToGuid(const CFUUIDBytes& inBytes) noexcept
{
    std::uint64_t halves[2] = {0, 0};
    for (int i = 0; i < 16; ++i)
        halves[i / 8] = (halves[i / 8] << 8) | inBytes.bytes[i];
    return Guid(static_cast<std::int64_t>(halves[0]), static_cast<std::int64_t>(halves[1]));
}

void ReferenceBroker::SetObject(ZORUnknown* inObject)
{
    RK_REQUIRE_CONTRACT(inObject != nullptr, "inObject != NULL", "Foundation/ZOR/Src/ObjectModel");
    ZORUnknown* none = nullptr;
    RK_REQUIRE_CONTRACT(mObject.compare_exchange_strong(none, inObject), "mObject == NULL",
                        "Foundation/ZOR/Src/ObjectModel");
}

InterfaceRef<ZORUnknown, ZORUnknown> ReferenceBroker::GetStrongReference() const
{
    ZORUnknown* const object = mObject.load();
    if (!object || !mReferenceCount.AddIfHeld())
        return nullptr;
    return InterfaceRef<ZORUnknown, ZORUnknown>(object, false);
}

const Guid& GuidOf(ZORUnknown*)
{
    static constexpr Guid sGuid(0x5F1C64B9, 0x0C7E, 0x4B0B, 0x9D, 0x31, 0x6A, 0x9E, 0x20, 0x44,
                                0x7F, 0x18);
    return sGuid;
}

const Guid& GuidOf(IWeakReferenceCapable*)
{
    static constexpr Guid sGuid(0x2B8D0F43, 0x71A6, 0x4E5D, 0xA8, 0x0C, 0x13, 0xD7, 0x5E, 0x96,
                                0xB2, 0x4F);
    return sGuid;
}

const Guid& GuidOf(IFileBuffer*)
{
    static constexpr Guid sGuid(0x9E37C1D2, 0x48F5, 0x4A19, 0xB6, 0xE4, 0x07, 0x3C, 0x8A, 0x51,
                                0xDD, 0x62);
    return sGuid;
}

const Guid& GuidOf(IFileBufferFactory*)
{
    static constexpr Guid sGuid(0xC4520EAB, 0x93D8, 0x4F77, 0x8B, 0x1D, 0xE0, 0x65, 0x29, 0xFA,
                                0x34, 0x90);
    return sGuid;
}

} // namespace ZOR
