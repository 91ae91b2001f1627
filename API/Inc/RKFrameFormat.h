#pragma once

#include <cstdint>

#include "RKPixelFormat.h"
#include "ZOR/ParamRect.h"
#include "qelmediatypes/FieldType.h"
#include "qelmediatypes/PixelAspectRatio.h"
#include "qelmediatypes/PixelFormat.h"
#include "qelmediatypes/RenderQuality.h"

namespace RK
{

/// What a frame looks like. A value type.
struct FrameFormat
{
    PixelFormat mPixelFormat = qelmediatypes::kPixelFormat_Invalid;
    ZOR::ParamRect<std::int32_t> mFrameRect; ///< in pixels
    qelmediatypes::PixelAspectRatio mPixelAspectRatio;
    qelmediatypes::FieldType mFieldType = qelmediatypes::kFieldType_Unknown;
    qelmediatypes::RenderQuality mRenderQuality = qelmediatypes::kRenderQuality_Unset;
};

} // namespace RK
