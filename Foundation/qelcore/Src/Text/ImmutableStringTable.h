#pragma once

#include "ImmutableStringEntry.h"

namespace qelcore
{
namespace utility
{

// Every interned string of the process.
class ImmutableStringTable
{
public:
    using Entry = ImmutableString::Entry; // private there, and no caller's business

    /// @param inIsLiteral  the text is narrow and stays valid for ever.
    static ImmutableString Intern(const InternedText& inText, bool inIsLiteral);
    /// @return true if a string was freed.
    static bool Purge();
};

} // namespace utility
} // namespace qelcore
