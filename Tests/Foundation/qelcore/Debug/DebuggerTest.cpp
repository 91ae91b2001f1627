#include "Platform/Debugger.h"
#include "Support/RealRights.h"

#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qelcore/Contract.h"
#include "qelcore/ErrorManager.h"

namespace
{

using Platform::StatusNamesATracer;

constexpr int kTracingRefused = 77;

TEST(Debugger, ATracerIsReadFromTheStatusOfTheProcess)
{
    EXPECT_TRUE(StatusNamesATracer("Name:\tx\nTracerPid:\t123\nUid:\t0\n"));
    EXPECT_FALSE(StatusNamesATracer("Name:\tx\nTracerPid:\t0\nUid:\t0\n"));
}

TEST(Debugger, AStatusThatIsDamagedNamesNone)
{
    for (const char* status : {"", "Name:\tx\n", "\nTracerPid:", "\nTracerPid:\t",
                               "\nTracerPid:\tx\n", "\nTracerPid:\t99999999999999999999\n"})
        EXPECT_FALSE(StatusNamesATracer(status)) << status;
}

// Runs inChild in a process that this one traces. @return its first status.
int StatusOfTraced(void (*inChild)())
{
    const pid_t child = fork();
    if (child == 0)
    {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(kTracingRefused);
        inChild();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSTOPPED(status))
    {
        kill(child, SIGKILL);
        int end = 0;
        waitpid(child, &end, 0);
    }
    return status;
}

bool WasRefused(int inStatus)
{
    return WIFEXITED(inStatus) && WEXITSTATUS(inStatus) == kTracingRefused &&
           !Testing::RealTestsAreRequired();
}

TEST(Debugger, ATracedProcessKnowsThatItIs)
{
    if (Platform::IsDebuggerAttached())
        GTEST_SKIP() << "these tests are traced themselves";
    const int status = StatusOfTraced([] { _exit(Platform::IsDebuggerAttached() ? 1 : 0); });
    if (WasRefused(status))
        GTEST_SKIP() << "tracing a child is not allowed here";
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));
}

#ifndef NDEBUG
TEST(Debugger, AViolationStopsInTheDebuggerOfADebugBuild)
{
    if (Platform::IsDebuggerAttached())
        GTEST_SKIP() << "these tests are traced themselves";
    const int status = StatusOfTraced(
        []
        {
            try
            {
                qelcore::debug::ReportContractViolation("a", "b", "c", 1);
            }
            catch (const qelcore::config::Error&)
            {
                _exit(1);
            }
        });
    if (WasRefused(status))
        GTEST_SKIP() << "tracing a child is not allowed here";
    ASSERT_TRUE(WIFSTOPPED(status));
    EXPECT_EQ(SIGTRAP, WSTOPSIG(status));
}
#endif

} // namespace
