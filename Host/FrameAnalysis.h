#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "ImporterModule.h"
#include "qelcore/RecycledMemory.h"

namespace RKHost
{

/// What can be told of a frame without looking at it again.
struct FrameAnalysis
{
    static constexpr std::uint32_t kLongestThumbnailSide = 160;

    std::uint32_t mWidth = 0; ///< of the frame
    std::uint32_t mHeight = 0;
    std::array<std::uint32_t, 256> mLuma = {};    ///< pixels by their luma, BT.601, full range
    std::array<std::uint16_t, 3> mMeanColor = {}; ///< blue, green, red; 256 to a step of 8 bits
    Picture mThumbnail;
};

/// @throw std::runtime_error if the frame cannot be scaled, or its layout is unknown.
FrameAnalysis Analyse(const Frame& inFrame, const ImporterModule& inImporter);

/// The analysis as bytes, with a hash of all of them and of the name that they are kept under.
qelcore::utility::RecycledMemoryPtr EncodeAnalysis(const FrameAnalysis& inAnalysis,
                                                   const std::string& inName);

/// @param inBytes  may be anything.
/// @return nothing unless they are, whole and unchanged, what EncodeAnalysis made for that name.
std::optional<FrameAnalysis> DecodeAnalysis(const void* inBytes, std::size_t inSize,
                                            const std::string& inName);

} // namespace RKHost
