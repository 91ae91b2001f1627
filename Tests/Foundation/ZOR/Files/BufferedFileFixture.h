#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "Support/MemoryFileSystem.h"
#include "ZOR/File.h"

namespace Testing
{

constexpr std::size_t kBlock = 256 * 1024; // of a buffered file
constexpr char kPath[] = "/d/clip";

/// Bytes that differ from place to place, from block to block, and by inSeed.
inline std::string Pattern(std::size_t inSize, unsigned inSeed = 0)
{
    std::string bytes(inSize, '\0');
    std::uint32_t state = inSeed * 2654435761u + 1;
    for (char& byte : bytes)
    {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

inline qelcore::Result OpenBuffered(ZOR::File& ioFile, const qelcore::UTF16String& inPath,
                                    bool inBuffered = true)
{
    return ioFile.Create(inPath, ZOR::kFileAccess_Read, ZOR::kFileShareMode_Read,
                         ZOR::kFileCreate_OpenExisting, ZOR::kFileAttributes_Normal, inBuffered);
}

inline std::string ReadAt(ZOR::File& ioFile, std::uint64_t inOffset, std::size_t inSize)
{
    std::string bytes(inSize, '\0');
    std::size_t got = 0;
    EXPECT_EQ(qelcore::kResult_OK, ioFile.ReadAt(inOffset, bytes.data(), inSize, got));
    bytes.resize(got);
    return bytes;
}

inline std::string Read(ZOR::File& ioFile, std::size_t inSize)
{
    std::string bytes(inSize, '\0');
    std::size_t got = 0;
    EXPECT_EQ(qelcore::kResult_OK, ioFile.Read(bytes.data(), inSize, got));
    bytes.resize(got);
    return bytes;
}

/// Drops every block that is not marked.
inline void PurgeAll()
{
    RK::MM::Purge(~std::size_t{0}, RK::kPurgeUrgency_Immediate);
}

/// Bytes of all blocks in memory.
inline std::uint64_t BytesKept()
{
    RK::GetMediaManager()->FlushAsyncEvents();
    return RK::MM::GetSize();
}

/// The library running over files in memory, whose times are turned by hand.
class BufferedFileTest : public ::testing::Test
{
protected:
    BufferedFileTest() { mFiles.AddFile(kPath, mBytes); }
    ~BufferedFileTest() override { PurgeAll(); }

    void Open(ZOR::File& ioFile, bool inBuffered = true)
    {
        ASSERT_EQ(qelcore::kResult_OK, OpenBuffered(ioFile, u"/d/clip", inBuffered));
    }
    /// How many transfers a read through a new object takes.
    std::size_t TransfersToRead(std::uint64_t inOffset, std::size_t inSize)
    {
        ZOR::File file;
        Open(file);
        const std::size_t before = mFiles.ReadCount();
        ReadAt(file, inOffset, inSize);
        return mFiles.ReadCount() - before;
    }

    const std::string mBytes = Pattern(2 * kBlock + 1000);
    MemoryFileSystem mFiles;
    RK::Initializer mLibrary;
};

} // namespace Testing
