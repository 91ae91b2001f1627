#include "qelmediatypes/PixelAspectRatio.h"

#include "qelcore/Contract.h"

namespace qelmediatypes
{

void PixelAspectRatio::SetValue(std::int32_t inNumerator, std::int32_t inDenominator)
{
    RK_REQUIRE_CONTRACT(inDenominator > 0, "inDenominator > 0",
                        "Foundation/qelmediatypes/Src/PixelAspectRatio");
    mNumerator = inNumerator;
    mDenominator = inDenominator;
}

} // namespace qelmediatypes
