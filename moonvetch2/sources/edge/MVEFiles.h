// Places of files.
#pragma once

#include <cstddef>

#include "MoonVetch/Host.h"

/// Whether two stand for one place; null stands for none.
bool mvEdgeIsSameURL(const MVURL* inLeft, const MVURL* inRight);
/// Of the running program; to be released. Null if it has none.
MVURL* mvEdgeCopyMainBundleURL();
/// @return kMVPathError without a path.
MVResult mvEdgeFillFileSpecification(const MVURL* inURL, MVFileSpecification* outFile);
/// UTF-8 that does not fit ends ahead of the character for which there is no room. @param inSize  not 0.
void mvEdgeCopyText(const char* inText, char* outBuffer, std::size_t inSize) noexcept;
