#pragma once

#include "qelcore/UTFString.h"

namespace qelcore
{
namespace filesupport
{

/// inFolder, a slash unless it is empty or ends with one, and inName.
UTF16String JoinPath(const UTF16String& inFolder, const UTF16String& inName);

/// inPath without the slashes at its end, but for the root's.
UTF16String WithoutTrailingSlashes(const UTF16String& inPath);

/// What stands behind the last slash.
UTF16String LastComponent(const UTF16String& inPath);

/// The folder above, by the text: "/" for the root and all that is in it; empty if there is none.
UTF16String ParentPath(const UTF16String& inPath);

} // namespace filesupport
} // namespace qelcore
