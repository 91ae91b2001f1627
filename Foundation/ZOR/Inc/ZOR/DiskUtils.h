#pragma once

#include <cstdint>

#include "ZOR/FileResults.h"
#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace ZOR
{
namespace DiskUtils
{

/// The unit, in bytes, that transfers with the disk of inPath are rounded up to: the file system's
/// block size, 4096 on most. It is no measure of how much to read at once: more is always better.
/// @param inPath       must be there.
/// @param outUnitSize  from 512 to 65536: network volumes tell units of a megabyte, which would make
///                     each small file's buffer as big. Untouched on failure.
/// @return as those of ZOR/FileResults.h.
RK_API qelcore::Result GetEfficientDiskBufferSizeFromPath(const qelcore::UTF16String& inPath,
                                                          std::uint32_t& outUnitSize);

} // namespace DiskUtils
} // namespace ZOR
