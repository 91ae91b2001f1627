#include <cerrno>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/Platform/Src/LinuxMemoryPressure.h"
#include "Platform/WakeSet.h"
#include "Support/ChildProcess.h"
#include "Support/Descriptors.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Platform;
using Testing::IsReadable;

// Without the NUL the kernel would cut the last digit off.
const std::string kTrigger("some 150000 2000000\0", 20);

// A named pipe stands for a trigger: always readable once the trigger's text is in it, with an edge at each
// write.
class FakeTrigger
{
public:
    explicit FakeTrigger(const std::string& inPath)
    {
        EXPECT_EQ(0, mkfifo(inPath.c_str(), 0600));
        mDescriptor = open(inPath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    ~FakeTrigger() { close(mDescriptor); }
    FakeTrigger(const FakeTrigger&) = delete;
    FakeTrigger& operator=(const FakeTrigger&) = delete;

    void Fire() const { EXPECT_EQ(1, write(mDescriptor, "!", 1)); }
    std::string Take() const
    {
        char bytes[100];
        const ssize_t size = read(mDescriptor, bytes, sizeof bytes);
        return std::string(bytes, size > 0 ? static_cast<std::size_t>(size) : 0);
    }

private:
    int mDescriptor;
};

class MemoryPressureTest : public ::testing::Test
{
protected:
    void RecordVersion2Group()
    {
        mTree.Write("proc/self/cgroup", "4:memory:/elsewhere\n0::/slice/app\n");
        mTree.Write("proc/self/mountinfo",
                    "36 31 0:32 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
                    "30 22 0:26 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n");
        mTree.MakeFolder("sys/fs/cgroup/unified/slice/app");
    }
    std::string GroupsFile() const
    {
        return mTree.Path("sys/fs/cgroup/unified/slice/app/memory.pressure");
    }
    std::string MachinesFile() const
    {
        mTree.MakeFolder("proc/pressure");
        return mTree.Path("proc/pressure/memory");
    }
    int Listen() { return mSource.Listen(mListener); }

    Testing::TemporaryFolder mTree;
    LinuxMemoryPressure mSource{mTree.Path()};
    std::unique_ptr<IMemoryPressureListener> mListener;
};

TEST_F(MemoryPressureTest, AsksTheMachineWhereThereIsNoGroup)
{
    const FakeTrigger machine(MachinesFile());

    EXPECT_EQ(0, Listen());
    EXPECT_EQ(kTrigger, machine.Take());
}

TEST_F(MemoryPressureTest, AsksTheProcesssOwnGroupOfVersion2)
{
    RecordVersion2Group();
    const FakeTrigger machine(MachinesFile());
    const FakeTrigger group(GroupsFile());

    EXPECT_EQ(0, Listen());
    EXPECT_EQ(kTrigger, group.Take());
    EXPECT_EQ("", machine.Take());
}

TEST_F(MemoryPressureTest, AsksTheMachineWhereTheGroupRefuses)
{
    RecordVersion2Group();
    const FakeTrigger machine(MachinesFile());

    EXPECT_EQ(0, Listen());
    EXPECT_EQ(kTrigger, machine.Take());
}

TEST_F(MemoryPressureTest, TellsWhyThereIsNothingToListenTo)
{
    EXPECT_EQ(ENOENT, Listen());
    EXPECT_EQ(nullptr, mListener);

    mTree.Write("proc/pressure/memory", "a plain file gives no events");
    EXPECT_EQ(EPERM, Listen());
    EXPECT_EQ(nullptr, mListener);
}

TEST_F(MemoryPressureTest, IsReadableFromAnEventUntilItIsTaken)
{
    const FakeTrigger machine(MachinesFile());
    ASSERT_EQ(0, Listen());
    EXPECT_FALSE(IsReadable(mListener->Descriptor()));
    EXPECT_FALSE(mListener->Take());

    machine.Fire();
    EXPECT_TRUE(IsReadable(mListener->Descriptor()));
    EXPECT_TRUE(mListener->Take());
    EXPECT_FALSE(IsReadable(mListener->Descriptor()));
    EXPECT_FALSE(mListener->Take());

    machine.Fire();
    EXPECT_TRUE(mListener->Take());
}

TEST_F(MemoryPressureTest, AnEventOutlivesEveryLookThroughALoopWithinALoop)
{
    const FakeTrigger machine(MachinesFile());
    ASSERT_EQ(0, Listen());
    WakeSet inner, outer;
    const WatchedDescriptor inInner(inner, mListener->Descriptor(), kReady_Readable, 1);
    const WatchedDescriptor inOuter(outer, inner.Descriptor(), kReady_Readable, 2);
    machine.Fire();

    for (int look = 0; look < 3; ++look)
        EXPECT_TRUE(IsReadable(outer.Descriptor()) && IsReadable(inner.Descriptor()));
    EXPECT_TRUE(mListener->Take());
}

TEST_F(MemoryPressureTest, TheNextListenerTakesUpTheTriggerThatTheLastHasLeft)
{
    const FakeTrigger machine(MachinesFile());
    ASSERT_EQ(0, Listen());
    machine.Take();
    mListener.reset();
    machine.Fire(); // while nobody listens

    ASSERT_EQ(0, Listen());
    EXPECT_EQ("!", machine.Take()) << "and no trigger's text";
    EXPECT_FALSE(mListener->Take());
    machine.Fire();
    EXPECT_TRUE(mListener->Take());
}

TEST_F(MemoryPressureTest, AChildOpensATriggerOfItsOwn)
{
    const FakeTrigger machine(MachinesFile());
    ASSERT_EQ(0, Listen());
    mListener.reset();
    machine.Take();

    const int answer =
        Testing::RunInChild([&] { return Listen() == 0 && machine.Take() == kTrigger ? 0 : 1; });
    EXPECT_EQ(0, answer);
}

TEST_F(MemoryPressureTest, EachListenerHasItsOwnEvents)
{
    const FakeTrigger machine(MachinesFile());
    ASSERT_EQ(0, Listen());
    std::unique_ptr<IMemoryPressureListener> other;
    ASSERT_EQ(0, mSource.Listen(other));
    mListener->Take(); // the other's text is an edge of this pipe

    machine.Fire();
    EXPECT_TRUE(mListener->Take());
    EXPECT_TRUE(other->Take());
}

} // namespace
