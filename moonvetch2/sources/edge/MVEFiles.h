// Places of files.
#pragma once

#include "MoonVetch/Host.h"

/// Whether two stand for one place; null stands for none.
bool mvEdgeIsSameURL(const MVURL* inLeft, const MVURL* inRight);
/// Of the running program; to be released. Null if it has none.
MVURL* mvEdgeCopyMainBundleURL();
/// @return kMVPathError without a path.
MVResult mvEdgeFillFileSpecification(const MVURL* inURL, MVFileSpecification* outFile);
