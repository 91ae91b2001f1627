#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include "Platform/MachineFigures.h"
#include "Support/Sanitizers.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/Dir.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::filesupport::Dir;
using qelcore::filesupport::FileIterator;

/// A folder in memory where there is one: making 100,000 files on a busy disk takes minutes.
std::filesystem::path QuickParent()
{
    const std::filesystem::path memory = "/dev/shm";
    return access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
}

void Fill(const std::string& inFolder, int inCount)
{
    const int folder = open(inFolder.c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < inCount; ++i)
    {
        const std::string name = "frame_" + std::to_string(1000000 + i) + ".dpx";
        const int file = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        ASSERT_LE(0, file);
        close(file);
    }
    close(folder);
}

int CountFiles(const Dir& inDir)
{
    int count = 0;
    for (FileIterator file = inDir.BeginFiles(); file != inDir.EndFiles(); ++file)
        ++count;
    return count;
}

double SecondsToCount(const Dir& inDir, int inExpected)
{
    double best = 1e9;
    for (int run = 0; run < 3; ++run)
    {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(inExpected, CountFiles(inDir));
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        best = std::min(best, time.count());
    }
    return best;
}

TEST(BigFolder, AHundredThousandFilesAreListedInLinearTimeAndLittleMemory)
{
    const Testing::TemporaryFolder folder(QuickParent());
    const Dir small(qelcore::utility::FileNameToUTF16(folder.MakeFolder("small")));
    const Dir big(qelcore::utility::FileNameToUTF16(folder.MakeFolder("big")));
    Fill(folder.Path("small"), 10000);
    Fill(folder.Path("big"), 100000);
    const double smallSeconds = SecondsToCount(small, 10000);

    const std::uint64_t before = Platform::MachineFigures().ProcessMemory();
    const double bigSeconds = SecondsToCount(big, 100000);
    const std::uint64_t after = Platform::MachineFigures().ProcessMemory();

    // Ten times the files; quadratic would be a hundred times the time.
    EXPECT_LT(bigSeconds, 30 * smallSeconds);
    // All names at once would take some 10 MB.
    if (!RK_TEST_ADDRESS_SANITIZER)
    {
        EXPECT_LT(after, before + (4u << 20));
    }
    RecordProperty("microsecondsPerFile", std::to_string(bigSeconds * 10));
}

} // namespace
