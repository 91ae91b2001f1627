// The kernel's own word of memory pressure.
#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Platform/MemoryPressure.h"
#include "Platform/WakeSet.h"
#include "Support/ControlGroup.h"
#include "Support/Descriptors.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Platform;

constexpr std::size_t kFileBytes = 96 << 20;
constexpr std::uint64_t kGroupBytes = 24 << 20;

// A process that reads a file here and there, in a group that has room for a fourth of it: nearly each
// touch waits for the disk.
class Sufferer
{
public:
    Sufferer(const Testing::MemoryGroup& inGroup, const std::string& inPath)
        : mProcess(fork())
    {
        if (mProcess == 0)
            Suffer(inGroup, inPath);
    }
    ~Sufferer()
    {
        kill(mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
    Sufferer(const Sufferer&) = delete;
    Sufferer& operator=(const Sufferer&) = delete;

private:
    [[noreturn]] static void Suffer(const Testing::MemoryGroup& inGroup, const std::string& inPath)
    {
        const int file = open(inPath.c_str(), O_RDONLY | O_CLOEXEC);
        void* const mapped = mmap(nullptr, kFileBytes, PROT_READ, MAP_SHARED, file, 0);
        if (!inGroup.Enter() || mapped == MAP_FAILED)
            _exit(1);
        const volatile char* const bytes = static_cast<const char*>(mapped);
        alarm(30); // if the test itself is killed
        for (std::uint64_t state = 88172645463325252u;; state ^= state << 17)
        {
            state ^= state << 13;
            state ^= state >> 7;
            static_cast<void>(bytes[state % kFileBytes]);
        }
    }

    const pid_t mProcess;
};

// Written to the disk and out of memory again, so that whoever reads it pays for it.
void WriteFile(const std::string& inPath)
{
    const int file = open(inPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string block(1 << 20, 'x');
    for (std::size_t written = 0; written < kFileBytes; written += block.size())
        ASSERT_EQ(static_cast<ssize_t>(block.size()), write(file, block.data(), block.size()));
    ASSERT_EQ(0, fsync(file));
    ASSERT_EQ(0, posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED));
    close(file);
}

TEST(RealMemoryPressure, AnEventArrivesThroughALoopWithinALoop)
{
    const bool hasPressure = access("/proc/pressure/memory", R_OK | W_OK) == 0;
    std::unique_ptr<IMemoryPressureListener> listener;
    const int error = MemoryPressure().Listen(listener);
    RK_NEEDS(error == 0, hasPressure, "pressure stall information (/proc/pressure/memory)");
    const Testing::MemoryGroup group;
    RK_NEEDS_A_MEMORY_GROUP(group);
    ASSERT_TRUE(group.SetLimit(kGroupBytes));
    const Testing::TemporaryFolder folder;
    ASSERT_NO_FATAL_FAILURE(WriteFile(folder.Path("f")));
    WakeSet inner, outer;
    const WatchedDescriptor inInner(inner, listener->Descriptor(), kReady_Readable, 1);
    const WatchedDescriptor inOuter(outer, inner.Descriptor(), kReady_Readable, 2);

    const Sufferer sufferer(group, folder.Path("f"));
    outer.Wait(10000);

    RK_NEEDS(Testing::IsReadable(outer.Descriptor()), true, "a disk that makes its readers wait");
    EXPECT_TRUE(Testing::IsReadable(outer.Descriptor())) << "a look takes nothing";
    EXPECT_TRUE(listener->Take());
    EXPECT_FALSE(Testing::IsReadable(listener->Descriptor()));
}

} // namespace
