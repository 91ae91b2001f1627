#pragma once

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Foundation/MemoryBalancer/Src/Suite.h"
#include "Support/FakeMachineFigures.h"
#include "Support/TraceCapture.h"
#include "qelcore/TextConversion.h"

namespace Testing
{

constexpr std::uint64_t kMiB = 1ull << 20;
constexpr std::uint64_t kGiB = 1ull << 30;

/// Looks until inCondition holds, for at most some seconds, which sanitizers and a loaded machine may need.
inline bool WaitUntil(const std::function<bool()>& inCondition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!inCondition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// A child process that does its work and then waits until it is killed, which its owner's end does.
class Child
{
public:
    explicit Child(const std::function<void()>& inWork)
        : mID(fork())
    {
        if (mID != 0)
            return;
        inWork();
        for (;;)
            pause();
    }
    ~Child() { Kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t ID() const { return mID; }
    void Send(int inSignal) const { kill(mID, inSignal); }
    void Kill()
    {
        if (mID <= 0)
            return;
        Send(SIGKILL);
        AwaitEnd();
    }
    void AwaitEnd()
    {
        while (waitpid(mID, nullptr, 0) < 0 && errno == EINTR)
        {
        }
        mID = -1;
    }
    void AwaitStop() const
    {
        int status = 0;
        while (waitpid(mID, &status, WUNTRACED) < 0 && errno == EINTR)
        {
        }
    }

private:
    pid_t mID;
};

/// A suite of its own for each test, on a machine of 16 GiB with 8 GiB free.
class SuiteTest : public ::testing::Test
{
protected:
    SuiteTest()
        : suite(UniqueName())
    {
        memorybalancer::SetSuiteName(suite);
    }
    ~SuiteTest() override
    {
        memorybalancer::SetSuiteName({});
        unlink(ObjectPath().c_str());
    }
    void SetUp() override
    {
        if (access("/dev/shm", W_OK) != 0)
            GTEST_SKIP() << "needs shared memory (/dev/shm that may be written)";
    }

    static qelcore::UTF16String UniqueName()
    {
        static int sCount = 0;
        return qelcore::utility::NarrowToUTF16("RiverKit test " + std::to_string(getpid()) + " " +
                                               std::to_string(++sCount));
    }
    /// The file behind the suite's segment, as it is for the user with that number.
    std::string ObjectPath(uid_t inUser = geteuid()) const
    {
        return "/dev/shm/" + memorybalancer::SegmentNameOf(suite) + "." + std::to_string(inUser);
    }
    bool ObjectExists() const { return access(ObjectPath().c_str(), F_OK) == 0; }
    ino_t ObjectNumber() const
    {
        struct stat status{};
        return stat(ObjectPath().c_str(), &status) == 0 ? status.st_ino : 0;
    }
    void OverwriteObject(const std::string& inBytes) const
    {
        std::fstream(ObjectPath(), std::ios::in | std::ios::out | std::ios::binary) << inBytes;
    }

    const qelcore::UTF16String suite;
    FakeMachineFigures machine;
};

} // namespace Testing
