#pragma once

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{

// Comparing text without regard to case: by Unicode's simple case folding, which maps each character
// to one other, in no particular language. So "ß" does not equal "ss", and "I" folds to "i" in Turkish
// texts too. The table is a constant (Unicode 15.0): no locale and no data library is asked.
//
// Threads  Free functions without state.
// Errors   Any units are text; unpaired surrogates equal themselves. StringEquals raises nothing,
//          ToNumericCase std::bad_alloc at most.

/// The form of a text for comparing: simple case folding, and decimal digits of every width and script
/// that have a unit of their own as ASCII digits. Never changes the number of units, so that places in
/// the result are places in the text; for that reason digits beyond U+FFFF stay as they are.
RK_API UTF16String ToNumericCase(const UTF16String& inText);
/// The same for one unit; a surrogate stays as it is.
RK_API char16_t ToNumericCase(char16_t inUnit);

namespace CaseInsensitive
{
/// Equality without regard to case. Digits equal those of their own script only.
RK_API bool StringEquals(const UTF16String& a, const UTF16String& b);
} // namespace CaseInsensitive

} // namespace utility
} // namespace qelcore
