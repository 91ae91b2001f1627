// Eight threads report while others merge, summarise, log, clear and switch.
#include <atomic>
#include <thread>
#include <vector>

#include "ErrorReportFixture.h"

using namespace Testing;

namespace
{

constexpr int kThreads = 8;

using ErrorReportStress = ErrorReportFixture;

TEST_F(ErrorReportStress, NoEventIsLostAndTheEarliestNamesTheError)
{
    constexpr int kEventsEach = 400;
    std::atomic<bool> stop{false};
    std::thread reader(
        [&]
        {
            while (!stop)
            {
                qelcore::UTF16String title;
                qelcore::UTF16String description;
                mReport->Summarize(title, description);
                mReport->Log();
                mReport->Empty();
            }
        });
    std::vector<std::thread> reporters;
    for (int thread = 0; thread < kThreads; ++thread)
    {
        reporters.emplace_back(
            [&, thread]
            {
                for (int event = 0; event < kEventsEach; ++event)
                {
                    const std::string key = std::to_string(thread) + "." + std::to_string(event);
                    Report(key, "d", Properties().Number(key, event).Text("exporter", key));
                }
            });
    }
    for (std::thread& reporter : reporters)
        reporter.join();
    stop = true;
    reader.join();
    const auto merged = mReport->MergeReports();
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kEventsEach) + 1, merged->mProperties.size());
    EXPECT_EQ(".0", Narrow(merged->mTitle).substr(1));
    const auto exporter =
        boost::get<qelcore::UTF16String>(merged->mProperties.at(qelcore::ToUTF8String("exporter")));
    EXPECT_EQ(merged->mTitle, exporter);
}

TEST_F(ErrorReportStress, EveryEventIsTakenOrDroppedUnderClearsSwitchesAndTraces)
{
    Setting("ErrorReport.StackTrace", "true");
    std::atomic<bool> stop{false};
    std::thread disturber(
        [&]
        {
            for (int i = 0; !stop; ++i)
            {
                i % 2 ? mReport->Enable() : mReport->Disable();
                mReport->MergeReports();
                mReport->Log();
                mReport->Clear();
            }
        });
    std::vector<std::thread> reporters;
    for (int thread = 0; thread < kThreads; ++thread)
    {
        reporters.emplace_back(
            [&]
            {
                for (int event = 0; event < 100; ++event)
                    Report("t", "d", Properties().Number("frameNumber", event));
            });
    }
    for (std::thread& reporter : reporters)
        reporter.join();
    stop = true;
    disturber.join();
    mReport->Clear();
    mReport->Enable();
    EXPECT_TRUE(mReport->Empty());
    Report("last", "d");
    EXPECT_EQ("d\n", Summary());
}

} // namespace
