// Both ends of the monitor's channel in one process and on one loop.
#include "MonitorChannel.h"

#include <memory>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "HostError.h"
#include "Support/Sanitizers.h"

namespace RKHostTests
{
namespace
{

using RKHost::MonitorClient;
using RKHost::MonitorServer;
using RKHost::PackReport;
using RKHost::ReportUnpacker;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(PackReport, PutsTheSizeInFront)
{
    EXPECT_EQ(std::string("\x03\0\0\0abc", 7), PackReport("abc"));
    EXPECT_EQ(std::string("\0\0\0\0", 4), PackReport(""));
    EXPECT_EQ(std::string("\x02\x01\0\0", 4), PackReport(std::string(258, 'x')).substr(0, 4));
}

TEST(PackReport, CutsWhatIsTooLong)
{
    const std::string packed = PackReport(std::string(RKHost::kLargestReport + 5, 'x'));
    EXPECT_EQ(RKHost::kLargestReport + 4, packed.size());
}

TEST(ReportUnpacker, FindsTheReportsInWhateverPiecesTheyCome)
{
    const std::string stream = PackReport("one") + PackReport("") + PackReport("three");
    for (std::size_t piece = 1; piece <= stream.size(); ++piece)
    {
        ReportUnpacker unpacker;
        std::vector<std::string> reports;
        for (std::size_t at = 0; at < stream.size(); at += piece)
        {
            const std::string part = stream.substr(at, piece);
            EXPECT_TRUE(unpacker.Add(part.data(), part.size()));
            for (std::string report; unpacker.Next(report);)
                reports.push_back(report);
        }
        EXPECT_THAT(reports, ElementsAre("one", "", "three")) << "pieces of " << piece;
    }
}

TEST(ReportUnpacker, RefusesASizeThatNoReportHas)
{
    ReportUnpacker unpacker;
    EXPECT_TRUE(unpacker.Add("\xff\xff\xff", 3));
    EXPECT_FALSE(unpacker.Add("\xff", 1));
}

class MonitorChannelTest : public testing::Test
{
protected:
    std::unique_ptr<MonitorClient> Look()
    {
        return std::make_unique<MonitorClient>(mLoop, getpid(), [this](const std::string& inReport)
                                               { mReports.push_back(inReport); });
    }

    /// Runs the loop until it has nothing more to do at once.
    void Settle()
    {
        for (int i = 0; i < 100; ++i)
            mLoop.RunPending();
    }

    // A viewer that behaves as the test says.
    int RawViewer() const
    {
        const std::string name =
            "rkhost-monitor-" + std::to_string(geteuid()) + "-" + std::to_string(getpid());
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path + 1, name.size());
        const int viewer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        EXPECT_EQ(0, connect(viewer, reinterpret_cast<sockaddr*>(&address), size));
        return viewer;
    }

    static bool IsClosed(int inViewer)
    {
        char byte;
        return recv(inViewer, &byte, 1, MSG_DONTWAIT) == 0;
    }

    RKHost::EventLoop mLoop;
    int mMade = 0;
    std::string mText = "report ";
    MonitorServer mServer{mLoop, [this] { return mText + std::to_string(++mMade); }};
    std::vector<std::string> mReports;
};

TEST_F(MonitorChannelTest, AReportComesForEachRequest)
{
    const auto client = Look();
    EXPECT_TRUE(client->Ask());
    Settle();
    EXPECT_TRUE(client->Ask());
    Settle();
    EXPECT_THAT(mReports, ElementsAre("report 1", "report 2"));
    EXPECT_FALSE(client->IsOver());
}

TEST_F(MonitorChannelTest, NothingIsMadeThatNobodyAskedFor)
{
    const auto client = Look();
    Settle();
    EXPECT_EQ(0, mMade);
}

TEST_F(MonitorChannelTest, ASecondRequestWaitsForTheFirstReport)
{
    const auto client = Look();
    EXPECT_TRUE(client->Ask());
    EXPECT_FALSE(client->Ask());
}

TEST_F(MonitorChannelTest, AReportLongerThanASocketHoldsComesWhole)
{
    mText.assign(900000, 'x');
    const auto client = Look();
    client->Ask();
    for (int i = 0; i < 10000 && mReports.empty(); ++i)
        mLoop.RunPending();
    ASSERT_EQ(1u, mReports.size());
    EXPECT_EQ(mText + "1", mReports[0]);
}

TEST_F(MonitorChannelTest, AViewerThatReadsNothingHoldsUpNobodyAndGetsNoSecondReport)
{
    mText.assign(900000, 'x');
    const int silent = RawViewer();
    EXPECT_EQ(1, send(silent, "r", 1, 0));
    Settle();
    EXPECT_EQ(1, send(silent, "r", 1, 0));
    Settle();
    EXPECT_EQ(1, mMade);

    const auto client = Look();
    client->Ask();
    for (int i = 0; i < 10000 && mReports.empty(); ++i)
        mLoop.RunPending();
    EXPECT_EQ(1u, mReports.size());
    close(silent);
}

TEST_F(MonitorChannelTest, AViewerThatGoesInTheMiddleOfAReportDisturbsNobody)
{
    mText.assign(900000, 'x');
    const int gone = RawViewer();
    EXPECT_EQ(1, send(gone, "r", 1, 0));
    Settle();
    close(gone);
    Settle();

    mText = "short ";
    const auto client = Look();
    client->Ask();
    Settle();
    EXPECT_THAT(mReports, ElementsAre("short 2"));
}

TEST_F(MonitorChannelTest, MoreViewersThanEightAreTurnedAway)
{
    std::vector<int> viewers;
    for (int i = 0; i < 9; ++i)
    {
        viewers.push_back(RawViewer());
        Settle();
    }
    EXPECT_FALSE(IsClosed(viewers[7]));
    EXPECT_TRUE(IsClosed(viewers[8]));

    close(viewers[0]);
    Settle();
    const auto client = Look();
    client->Ask();
    Settle();
    EXPECT_EQ(1u, mReports.size()) << "a place that came free is taken";
    for (std::size_t i = 1; i < viewers.size(); ++i)
        close(viewers[i]);
}

TEST_F(MonitorChannelTest, ANameThatIsTakenIsNotOfferedAndThatIsAll)
{
    const MonitorServer second(mLoop, [] { return std::string(); });
    EXPECT_TRUE(mServer.IsOffered());
    EXPECT_FALSE(second.IsOffered());
}

/// A test may be started without standard input.
void OpenStandardDescriptors()
{
    int lowest = -1;
    do
        lowest = open("/dev/null", O_RDWR | O_CLOEXEC);
    while (lowest >= 0 && lowest <= STDERR_FILENO);
    close(lowest);
}

TEST_F(MonitorChannelTest, WithoutDescriptorsItIsNoLongerOfferedInsteadOfKeepingTheLoopBusy)
{
    if (RK_TEST_SANITIZER)
        GTEST_SKIP()
            << "needs a build without sanitizers, which need descriptors to look at memory";
    OpenStandardDescriptors();
    mLoop.RunPending(); // makes the descriptors of its own
    const int waiting = RawViewer();
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 3; // all that poll may be asked for, and all three are open
    setrlimit(RLIMIT_NOFILE, &none);
    mLoop.RunPending();
    setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_FALSE(mServer.IsOffered());
    close(waiting);
}

TEST(MonitorClient, AProcessThatOffersNothingCannotBeLookedAt)
{
    RKHost::EventLoop loop;
    try
    {
        const MonitorClient client(loop, getpid(), [](const std::string&) {});
        FAIL() << "nothing is offered";
    }
    catch (const RKHost::HostError& error)
    {
        EXPECT_EQ(RKHost::kExit_Failure, error.Code());
        EXPECT_THAT(error.what(), HasSubstr("cannot look at process"));
    }
}

TEST(MonitorClient, HearsOfTheEndOfTheOther)
{
    RKHost::EventLoop loop;
    auto server = std::make_unique<MonitorServer>(loop, [] { return std::string("x"); });
    MonitorClient client(loop, getpid(), [](const std::string&) {});
    loop.RunPending();
    server.reset();
    for (int i = 0; i < 10; ++i)
        loop.RunPending();
    EXPECT_TRUE(client.IsOver());
}

TEST(MonitorClient, TrustsNobodyWhoHasTakenTheNameOfAnotherProcess)
{
    // A name for the parent of this process, taken by this process.
    const std::string name =
        "rkhost-monitor-" + std::to_string(geteuid()) + "-" + std::to_string(getppid());
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, name.size());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), size));
    ASSERT_EQ(0, listen(listener, 1));
    RKHost::EventLoop loop;

    EXPECT_THROW(MonitorClient(loop, getppid(), [](const std::string&) {}), RKHost::HostError);
    close(listener);
}

} // namespace
} // namespace RKHostTests
