#include "ZOR/DiskUtils.h"

#include <algorithm>

#include "FileError.h"
#include "Platform/FileSystem.h"
#include "qelcore/TextConversion.h"

namespace ZOR
{
namespace DiskUtils
{
namespace
{

constexpr std::uint64_t kMinUnitSize = 512; // a sector
constexpr std::uint64_t kMaxUnitSize =
    65536; // the largest block that local file systems are made with

} // namespace

qelcore::Result GetEfficientDiskBufferSizeFromPath(const qelcore::UTF16String& inPath,
                                                   std::uint32_t& outUnitSize)
{
    std::uint64_t size = 0;
    const int error =
        Platform::FileSystem().BlockSize(qelcore::utility::UTF16ToFileName(inPath), size);
    if (error == 0)
        outUnitSize = static_cast<std::uint32_t>(std::clamp(size, kMinUnitSize, kMaxUnitSize));
    return ResultOfError(error);
}

} // namespace DiskUtils
} // namespace ZOR
