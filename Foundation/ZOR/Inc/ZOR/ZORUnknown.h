#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/Guid.h"
#include "qelcore/Result.h"

namespace ZOR
{

template <class T, class I>
class InterfaceRef;

/// The 16 bytes that name an interface, in the order of the usual notation.
struct CFUUIDBytes
{
    std::uint8_t bytes[16];
};

RK_API CFUUIDBytes ToUUIDBytes(const qelcore::utility::Guid& inGuid) noexcept;
RK_API qelcore::utility::Guid ToGuid(const CFUUIDBytes& inBytes) noexcept;

// Base of the reference-counted interfaces. An object begins with the count 0, and InterfaceRef adds
// the first reference.
class RK_API ZORUnknown
{
public:
    virtual void AddRef() = 0;
    virtual void Release() = 0;
    virtual ~ZORUnknown();
    /// Looks for an interface by its identity.
    /// @param outInterface  set to null first; on success a pointer to the interface, with a reference
    ///                      added that the caller owns.
    virtual qelcore::Result QueryMap(const CFUUIDBytes& inID, void** outInterface) = 0;
    virtual ZORUnknown* GetZORUnknown() = 0;
};

RK_API const qelcore::utility::Guid& GuidOf(ZORUnknown*);

} // namespace ZOR
