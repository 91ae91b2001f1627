#pragma once

#include <string>
#include <vector>

#include "ImporterModule.h"

namespace RKHost
{

/// Indexes of at most inMost of inCount frames, evenly spaced, the first and the last among them.
std::vector<int> EvenlySpaced(int inCount, int inMost);

struct PictureSize
{
    std::uint32_t mWidth;
    std::uint32_t mHeight;
};
/// The largest size of the frame's shape within the limits; never larger than the frame, nor empty.
PictureSize Fit(const RKImageInfo& inInfo, std::uint32_t inWidest, std::uint32_t inHighest);

// A picture of frames in a grid, with small gaps. A cell is as large as the first frame scaled down to
// kWidestCell, and a frame of another shape is fitted into it. A frame that failed is a red cell.
class ContactSheet
{
public:
    static constexpr int kMostFrames = 24;
    static constexpr int kColumns = 6;
    static constexpr std::uint32_t kWidestCell = 320;
    static constexpr std::uint32_t kGap = 8; ///< pixels between cells and around them

    explicit ContactSheet(const ImporterModule& inImporter)
        : mImporter(inImporter)
    {
    }

    /// @throw std::runtime_error if the frame cannot be scaled; nothing was added.
    void Add(const Frame& inFrame);
    void AddFailure();
    bool HasFrames() const { return mCellWidth != 0; }

    Picture Compose() const;
    /// Writes the file whole or not at all.
    /// @throw HostError
    void Write(const std::string& inPath) const;

private:
    const ImporterModule& mImporter;
    std::vector<Picture> mCells; ///< an empty one stands for a frame that failed
    std::uint32_t mCellWidth = 0;
    std::uint32_t mCellHeight = 0;
};

} // namespace RKHost
