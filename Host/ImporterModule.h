#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Plugins/ImageImporter.h"
#include "qelcore/RecycledMemory.h"

namespace RKHost
{

/// A frame as it lies in memory.
struct Frame
{
    boost::shared_ptr<const qelcore::utility::RecycledMemory> mPixels;
    RKImageInfo mInfo = {};
};

/// Pixels of 4 bytes, blue first, rows without padding.
struct Picture
{
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    std::vector<std::uint8_t> mPixels;
};

// The image importer, a plug-in. It is loaded once and never unloaded.
//
// Threads  Every function may be called from any thread, at the same time.
// Errors   std::runtime_error, whose text names no file.
class ImporterModule
{
public:
    /// Loads what the environment's RKHOST_IMPORTER names, or else ImageImporter.so from the folders
    /// where the build and the installation put it.
    /// @throw HostError if it is not there or speaks another version.
    static ImporterModule Load();

    /// @param inFile  the bytes of a whole file.
    Frame Decode(const void* inFile, std::size_t inSize) const;
    Picture Scale(const Frame& inFrame, std::uint32_t inWidth, std::uint32_t inHeight) const;
    std::vector<std::uint8_t> EncodePng(const Picture& inPicture) const;

    const char* Name() const { return mTable->mName; }
    const char* Licence() const { return mTable->mLicence; }

private:
    explicit ImporterModule(const RKImageImporter* inTable)
        : mTable(inTable)
    {
    }
    const RKImageImporter* mTable;
};

} // namespace RKHost
