#pragma once

#include "ZOR/FileResults.h"

namespace ZOR
{

/// The result for one of the numbers of <cerrno>; kResult_OK for 0.
qelcore::Result ResultOfError(int inError);

} // namespace ZOR
