// Several processes at work on one folder, which know nothing of each other.
#include <random>

#include <sys/wait.h>
#include <unistd.h>

#include "RealStoreSupport.h"
#include "Support/ChildProcess.h"
#include "Support/Sanitizers.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Testing;

constexpr int kRounds = RK_TEST_SANITIZER ? 100 : 400;
constexpr std::uint32_t kItems = 50;

/// Puts, reads, removes and touches the same items as all others. @return how many reads went wrong.
int WorkOn(const std::string& inFolder, std::uint32_t inWriter)
{
    const RK::Initializer library;
    const RealStore store(inFolder, inWriter % 2 == 0);
    std::mt19937 random(inWriter);
    std::vector<RealStore::Pending> reads;
    for (int round = 0; round < kRounds; ++round)
    {
        const std::uint32_t item = random() % kItems;
        store.Put(item, SizeOfItem(random()), inWriter);
        reads.push_back(store.BeginGet(random() % kItems));
        if (random() % 3 == 0)
            store.Remove(random() % kItems);
        if (random() % 5 == 0)
            store.Touch(random() % kItems);
        while (store.WritesWaiting() > 16)
            usleep(100);
    }
    int wrong = 0;
    for (const RealStore::Pending& read : reads)
        wrong += read.Wait().torn || !read.Now().told ? 1 : 0;
    store.WaitForWrites();
    return wrong == 0 && !::testing::Test::HasFailure() ? 0 : 1;
}

class RealDataCacheProcesses : public ::testing::TestWithParam<int>
{
};

TEST_P(RealDataCacheProcesses, SeeEachOthersItemsAsAWholeOrNotAtAll)
{
    const TemporaryFolder folder;
    std::vector<pid_t> children;
    for (int i = 0; i < GetParam(); ++i)
    {
        const pid_t child = fork();
        if (child == 0)
        {
            _exit(WorkOn(folder.Path(), static_cast<std::uint32_t>(i + 1)));
        }
        children.push_back(child);
    }
    for (const pid_t child : children)
    {
        int status = -1;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
    const FolderContents contents(folder.Path());
    EXPECT_EQ(std::vector<std::string>(), contents.torn);
    EXPECT_EQ(std::vector<std::string>(), contents.temps);
    EXPECT_FALSE(contents.whole.empty());
}

INSTANTIATE_TEST_SUITE_P(Processes, RealDataCacheProcesses, ::testing::Values(2, 8));

} // namespace
