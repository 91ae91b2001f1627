// A program of its own, since it puts an operator new that can fail in the place of everybody's.
#include "HostFixture.h"
#include "Support/OwnOperatorNew.h"

namespace
{
constinit int sNewLeft = -1; // until the heap is empty; below 0 it never is
} // namespace

bool Testing::OnAllocation() noexcept
{
    if (sNewLeft > 0)
        --sNewLeft;
    else if (sNewLeft == 0)
        return false;
    return true;
}

namespace
{

using Testing::Application;

/// An empty heap for the scope.
struct EmptyHeap
{
    explicit EmptyHeap(int inLeft) { sNewLeft = inLeft; }
    ~EmptyHeap() { sNewLeft = -1; }
};

// Records come from the application's procedures, but lists of suites and what is in them from the heap.
struct HostAllocation : ::testing::Test
{
    void SetUp() override
    {
        if (RK_TEST_SANITIZER)
            GTEST_SKIP() << "a sanitizer has the allocator";
        app.Reset();
        // What these write down would take from the heap too.
        app.procs.internalAllocate = [](std::size_t inSize, void*)
        {
            ++sBlocks;
            return std::malloc(inSize);
        };
        app.procs.internalFree = [](void* inBlock, void*)
        {
            --sBlocks;
            std::free(inBlock);
        };
        app.procs.throwTrap = [](MVResult inCode, void*) { sThrown = inCode; };
        app.procs.startupNotify = nullptr;
        app.procs.filterEvent = nullptr;
        // The platform's edges and the trace are made at the first use of them.
        std::int32_t added = 0;
        ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
        ASSERT_NE(kMVNoError, MVAddPluginFile(nullptr, "/there/is/none.plugin", &added));
        ASSERT_EQ(kMVNoError, MVTerm());
        sBlocks = 0;
        sThrown = kMVNoError;
    }
    void TearDown() override
    {
        sNewLeft = -1;
        while (MVInited() != 0)
            ASSERT_EQ(kMVNoError, MVTerm());
        EXPECT_EQ(0, sBlocks);
    }

    static inline int sBlocks = 0;
    static inline MVResult sThrown = kMVNoError;
    Application& app = Application::Current();
};

TEST_F(HostAllocation, AnEmptyHeapAtTheStartIsAnErrorAndLeavesNothingBehind)
{
    int left = 0;
    for (;; ++left)
    {
        ASSERT_LT(left, 1000);
        MVResult result = kMVNoError;
        {
            const EmptyHeap heap(left);
            result = MVInit(&app.procs, 0, 0);
        }
        if (result == kMVNoError)
            break;
        EXPECT_EQ(0, MVInited()) << left;
        EXPECT_EQ(0, sBlocks) << left;
    }
    EXPECT_GT(left, 28); // a list, and a node of both maps for each suite
}

TEST_F(HostAllocation, ASuiteThatTheMapsHaveNoRoomForIsNotAdded)
{
    static constexpr int kTable = 1;
    ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVFindSuite(nullptr, "S", 1, 0, &suite)); // interned, and searched for
    for (int left = 0; left < 2; ++left)
    {
        const int blocks = sBlocks;
        sThrown = kMVNoError;
        MVResult result = kMVNoError;
        {
            const EmptyHeap heap(left);
            result = MVAddSuite(nullptr, nullptr, "S", 1, 1, &kTable, &suite);
        }
        EXPECT_EQ(kMVOutOfMemoryError, result) << left;
        EXPECT_EQ(kMVOutOfMemoryError, sThrown) << left;
        EXPECT_EQ(nullptr, suite);
        EXPECT_EQ(blocks, sBlocks) << left;
        EXPECT_EQ(kMVNoError, MVFindSuite(nullptr, "S", 1, 0, &suite));
        EXPECT_EQ(nullptr, suite) << left;
        EXPECT_EQ(kMVNoError, MVFindSuite(nullptr, "S", 1, 1, &suite));
        EXPECT_EQ(nullptr, suite) << left;
        std::int32_t available = 1;
        MVGetPluginListNeededSuiteAvailable(nullptr, &available);
        EXPECT_EQ(0, available);
    }

    EXPECT_EQ(kMVNoError, MVAddSuite(nullptr, nullptr, "S", 1, 1, &kTable, &suite));
    EXPECT_NE(nullptr, suite);
}

TEST_F(HostAllocation, AListOfSuitesThatTheHeapHasNoRoomForIsNull)
{
    ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
    MVSuiteList* list = nullptr;
    MVResult result = kMVNoError;
    {
        const EmptyHeap heap(0);
        result = MVAllocateSuiteList(nullptr, nullptr, &list);
    }
    EXPECT_EQ(kMVOutOfMemoryError, result);
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(kMVOutOfMemoryError, sThrown);
}

TEST_F(HostAllocation, AnEmptyHeapIsNoExceptionToACaller)
{
    ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
    const auto answer = [](const char*, const char*, void*) { return MVResult{kMVNoError}; };
    for (int left = 0; left < 40; ++left)
    {
        MVPlugin* plugin = nullptr;
        MVURL* url = nullptr;
        const void* table = nullptr;
        std::int32_t count = 0;
        {
            const EmptyHeap heap(left);
            url = MVCreateURL("file:///a%20path/that/is/longer/than/a/short/string.plugin");
            MVAddPlugin(nullptr, "/a/path/that/is/longer/than/a/short/string.plugin", nullptr,
                        kMVMoonVetch2Adapter, nullptr, &plugin);
            MVAddPluginFile(nullptr, "/a/path/that/is/longer/than/a/short/string.plugin", &count);
            MVAddHostPlugin(nullptr, answer, nullptr, kMVMoonVetch2Adapter, nullptr, &plugin, "P");
            MVAddSuite(nullptr, plugin, "S", left + 1, 1, &sBlocks, nullptr);
            MVStartupPlugins();
            if (MVBasicAcquireSuite("S", left + 1, &table) == kMVNoError)
                MVBasicReleaseSuite("S", left + 1);
            MVFlushCaches(nullptr, &count);
        }
        MVReleaseURL(url);
    }
    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, MVBasicAcquireSuite("S", 40, &table));
    EXPECT_EQ(kMVNoError, MVBasicReleaseSuite("S", 40));
}

} // namespace
