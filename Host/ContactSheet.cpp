#include "ContactSheet.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "HostError.h"

namespace RKHost
{

namespace
{

struct Color
{
    std::uint8_t mBytes[4]; // blue first
};

constexpr Color kBackground = {{32, 32, 32, 255}};
constexpr Color kFailure = {{32, 32, 160, 255}};

void Fill(Picture& ioPicture, std::uint32_t inX, std::uint32_t inY, PictureSize inSize,
          Color inColor)
{
    for (std::uint32_t y = inY; y < inY + inSize.mHeight; ++y)
        for (std::uint32_t x = inX; x < inX + inSize.mWidth; ++x)
            std::memcpy(&ioPicture.mPixels[(std::size_t{y} * ioPicture.mWidth + x) * 4],
                        inColor.mBytes, sizeof inColor.mBytes);
}

void Paste(Picture& ioPicture, std::uint32_t inX, std::uint32_t inY, const Picture& inCell)
{
    const std::size_t rowBytes = std::size_t{inCell.mWidth} * 4;
    for (std::uint32_t y = 0; y < inCell.mHeight; ++y)
        std::memcpy(&ioPicture.mPixels[(std::size_t{inY + y} * ioPicture.mWidth + inX) * 4],
                    &inCell.mPixels[y * rowBytes], rowBytes);
}

void WriteFile(const std::filesystem::path& inPath, const std::vector<std::uint8_t>& inBytes)
{
    std::ofstream file(inPath, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(inBytes.data()),
               static_cast<std::streamsize>(inBytes.size()));
    file.close();
    if (!file)
        throw HostError(kExit_Failure, inPath.string() + ": cannot be written");
}

} // namespace

std::vector<int> EvenlySpaced(int inCount, int inMost)
{
    const int count = std::min(inCount, inMost);
    std::vector<int> indexes;
    indexes.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        indexes.push_back(
            count == 1 ? 0 : static_cast<int>(std::int64_t{i} * (inCount - 1) / (count - 1)));
    return indexes;
}

PictureSize Fit(const RKImageInfo& inInfo, std::uint32_t inWidest, std::uint32_t inHighest)
{
    const double scale =
        std::min({1.0, double(inWidest) / inInfo.mWidth, double(inHighest) / inInfo.mHeight});
    const auto scaled = [scale](std::uint32_t inSide, std::uint32_t inMost)
    {
        return static_cast<std::uint32_t>(
            std::clamp(std::lround(inSide * scale), 1l, long{inMost}));
    };
    return {scaled(inInfo.mWidth, inWidest), scaled(inInfo.mHeight, inHighest)};
}

void ContactSheet::Add(const Frame& inFrame)
{
    // A cell higher than it is wide beyond this would make the sheet unwieldy.
    constexpr std::uint32_t kHighestCell = kWidestCell * 2;
    const PictureSize cell = HasFrames() ? PictureSize{mCellWidth, mCellHeight}
                                         : Fit(inFrame.mInfo, kWidestCell, kHighestCell);
    const PictureSize size = Fit(inFrame.mInfo, cell.mWidth, cell.mHeight);
    mCells.push_back(mImporter.Scale(inFrame, size.mWidth, size.mHeight));
    mCellWidth = cell.mWidth;
    mCellHeight = cell.mHeight;
}

void ContactSheet::AddFailure()
{
    mCells.emplace_back();
}

Picture ContactSheet::Compose() const
{
    const auto count = static_cast<std::uint32_t>(mCells.size());
    const std::uint32_t columns = std::min<std::uint32_t>(count, kColumns);
    const std::uint32_t rows = columns == 0 ? 0 : (count + columns - 1) / columns;
    Picture sheet;
    sheet.mWidth = columns * (mCellWidth + kGap) + kGap;
    sheet.mHeight = rows * (mCellHeight + kGap) + kGap;
    sheet.mPixels.resize(std::size_t{sheet.mWidth} * sheet.mHeight * 4);
    Fill(sheet, 0, 0, {sheet.mWidth, sheet.mHeight}, kBackground);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const Picture& cell = mCells[i];
        const std::uint32_t x = kGap + i % columns * (mCellWidth + kGap);
        const std::uint32_t y = kGap + i / columns * (mCellHeight + kGap);
        if (cell.mPixels.empty())
            Fill(sheet, x, y, {mCellWidth, mCellHeight}, kFailure);
        else
            Paste(sheet, x + (mCellWidth - cell.mWidth) / 2, y + (mCellHeight - cell.mHeight) / 2,
                  cell);
    }
    return sheet;
}

void ContactSheet::Write(const std::string& inPath) const
{
    namespace fs = std::filesystem;
    const std::vector<std::uint8_t> bytes = mImporter.EncodePng(Compose());
    const fs::path unfinished = inPath + ".unfinished-" + std::to_string(getpid());
    std::error_code error;
    try
    {
        WriteFile(unfinished, bytes);
    }
    catch (const HostError&)
    {
        fs::remove(unfinished, error);
        throw HostError(kExit_Failure, inPath + ": cannot be written");
    }
    fs::rename(unfinished, inPath, error);
    if (!error)
        return;
    const std::string reason = error.message();
    fs::remove(unfinished, error);
    throw HostError(kExit_Failure, inPath + ": cannot be written: " + reason);
}

} // namespace RKHost
