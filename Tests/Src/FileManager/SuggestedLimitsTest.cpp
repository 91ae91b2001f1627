// The limits that suit a process: the arithmetic, and what the system says.
#include <algorithm>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "FileManagerFixture.h"
#include "Platform/ProcessLimits.h"
#include "Support/ChildProcess.h"

namespace
{

using namespace Testing;
using RK::FileManager;
using RK::Details::OpenFileLimits;
using RK::Details::SuggestOpenFileLimits;

constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

void ExpectSuggestion(std::uint32_t inSoft, std::uint32_t inHard, std::uint64_t inProcessLimit,
                      std::uint64_t inOthers)
{
    const OpenFileLimits limits = SuggestOpenFileLimits(inProcessLimit, inOthers);
    EXPECT_EQ(inSoft, limits.soft) << inProcessLimit << ", others " << inOthers;
    EXPECT_EQ(inHard, limits.hard) << inProcessLimit << ", others " << inOthers;
}

TEST(SuggestedOpenFileLimits, LeaveWhatIsOpenAndAQuarterOfTheRest)
{
    ExpectSuggestion(740, 750, 1024, 24);
    ExpectSuggestion(182, 192, 256, 0);
}

TEST(SuggestedOpenFileLimits, OfATinyProcessStayUsable)
{
    ExpectSuggestion(5, 9, 16, 4);
    ExpectSuggestion(1, 2, 16, 14);
    ExpectSuggestion(1, 1, 16, 15);
    ExpectSuggestion(1, 1, 16, 16);
    ExpectSuggestion(1, 1, 16, 100);
    ExpectSuggestion(1, 1, 0, 0);
}

TEST(SuggestedOpenFileLimits, OfAHugeOrUnlimitedProcessEndWhereMoreFilesPayNoMore)
{
    ExpectSuggestion(2038, 2048, 1 << 20, 30);
    ExpectSuggestion(2038, 2048, kUnlimited, 30);
    ExpectSuggestion(2038, 2048, kUnlimited, 0);
}

TEST(SuggestedOpenFileLimits, AreInOrderFitTheProcessAndNeverFallAsItGrows)
{
    OpenFileLimits before{1, 1};
    for (std::uint64_t limit = 0; limit < 3000; ++limit)
    {
        const OpenFileLimits limits = SuggestOpenFileLimits(limit, 7);
        ASSERT_LE(1u, limits.soft);
        ASSERT_LE(limits.soft, limits.hard);
        ASSERT_LE(limits.hard,
                  std::max<std::uint64_t>(1, limit - std::min<std::uint64_t>(limit, 7)));
        ASSERT_LE(before.soft, limits.soft);
        ASSERT_LE(before.hard, limits.hard);
        ASSERT_EQ(limits.hard < 20 ? limits.hard / 2 : 10, limits.hard - limits.soft);
        before = limits;
    }
}

/// Descriptors beyond those that the process has, closed at the end.
class ExtraDescriptors
{
public:
    explicit ExtraDescriptors(int inCount)
    {
        for (int i = 0; i < inCount; ++i)
            mFiles.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    ~ExtraDescriptors()
    {
        for (const int file : mFiles)
            close(file);
    }
    ExtraDescriptors(const ExtraDescriptors&) = delete;
    ExtraDescriptors& operator=(const ExtraDescriptors&) = delete;

private:
    std::vector<int> mFiles;
};

TEST(ProcessLimits, CountDescriptorsThatAreOpen)
{
    const std::uint64_t before = Platform::OpenDescriptorCount();
    const ExtraDescriptors extra(5);
    EXPECT_EQ(before + 5, Platform::OpenDescriptorCount());
}

TEST(ProcessLimits, FollowTheLimitOfTheProcess)
{
    EXPECT_EQ(0, RunInChild(
                     []
                     {
                         const rlimit limit = {77, 77};
                         return setrlimit(RLIMIT_NOFILE, &limit) == 0 &&
                                        Platform::MaxDescriptorCount() == 77
                                    ? 0
                                    : 1;
                     }));
}

OpenFileLimits Suggested()
{
    OpenFileLimits limits{0, 0};
    FileManager::GetSuggestedOpenFileLimits(limits.soft, limits.hard);
    return limits;
}

TEST(ProcessLimits, MakeTheSuggestionAlsoWhileTheManagerIsStopped)
{
    const OpenFileLimits expected =
        SuggestOpenFileLimits(Platform::MaxDescriptorCount(), Platform::OpenDescriptorCount());
    EXPECT_EQ(expected.hard, Suggested().hard);
    EXPECT_EQ(expected.soft, Suggested().soft);
}

/// In a process of few descriptors, where each counts: whether those that are registered are left
/// out.
int CompareSuggestions()
{
    const rlimit limit = {200, 200};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 1;
    FileManager::Startup();
    const std::uint32_t before = Suggested().hard;
    const ExtraDescriptors extra(40);
    const std::uint32_t notRegistered = Suggested().hard;
    const WeakOwnerRef owner(new WeakOwner);
    FileManager::RegisterOpenFile(owner, u"/a", 1, 40);
    const std::uint32_t registered = Suggested().hard;
    FileManager::Shutdown();
    if (notRegistered != before - 30)
        return 2;
    return registered == before ? 0 : 3;
}

TEST(ProcessLimits, LeaveRegisteredFilesOutOfWhatOthersHaveOpen)
{
    EXPECT_EQ(0, RunInChild(CompareSuggestions));
}

} // namespace
