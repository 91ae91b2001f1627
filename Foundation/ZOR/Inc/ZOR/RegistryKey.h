#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

namespace ZOR
{

// Settings of the machine's user for this application, below the XDG config folder. By the config owner.
enum class RegistryRoot
{
    kCurrentUser,
};

/// The application's base key, a path below the root.
RK_API qelcore::UTF16String GetRegistryBaseKey();

class RK_API RegistryKey
{
public:
    RegistryKey();
    ~RegistryKey();
    /// Opens an existing key. Negative if there is none, or it cannot be read.
    qelcore::Result Open(RegistryRoot inRoot, const qelcore::UTF16String& inPath);
    /// Negative if there is no such value, or it is of another type; outValue is then 0.
    qelcore::Result GetUInt32Value(const qelcore::UTF16String& inName, std::uint32_t& outValue) const;
};

} // namespace ZOR
