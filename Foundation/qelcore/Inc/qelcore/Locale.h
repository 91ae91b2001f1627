#pragma once

#include "qelcore/Export.h"

namespace qelcore
{

// What characters mean to the default locale: that of no country, with a table of the first 256
// characters. It never changes, whatever the process or its environment sets, so that a name that was
// numbered on one machine is numbered on every other.
//
// Threads  Any; usable before main() and during exit.
class RK_API Locale
{
public:
    static const Locale& Default() noexcept;

    /// @return true if the unit is one of "0" to "9". The superscript digits below 256 are no digits,
    ///         and neither is any unit above 255.
    bool IsDigit(char16_t inUnit) const noexcept;

private:
    constexpr Locale() noexcept = default;
};

} // namespace qelcore
