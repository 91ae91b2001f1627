#pragma once

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{

/// The form of a text for comparing: simple case folding, and digits of every width and script that
/// stand for 0 to 9 as ASCII digits. Never changes the number of units.
RK_API UTF16String ToNumericCase(const UTF16String& inText);
RK_API char16_t ToNumericCase(char16_t inUnit);

namespace CaseInsensitive
{
/// Equality without regard to case, by simple case folding, in no particular language.
RK_API bool StringEquals(const UTF16String& a, const UTF16String& b);
} // namespace CaseInsensitive

} // namespace utility
} // namespace qelcore
