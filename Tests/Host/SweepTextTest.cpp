#include "SweepText.h"

#include <cerrno>
#include <sstream>

#include <gmock/gmock.h>

namespace RKHostTests
{
namespace
{

using boost::posix_time::ptime;
using boost::posix_time::seconds;
using namespace RK::DiskCacheManager;
using RKHost::SweepReportText;
using testing::HasSubstr;
using testing::Not;

const ptime kStart(boost::gregorian::date(2026, 3, 29), seconds(3661));

SweepReport Report()
{
    SweepReport report;
    report.complete = true;
    report.started = kStart;
    report.ended = kStart + boost::posix_time::milliseconds(1500);
    DirectorySweepReport folder;
    folder.path = u"/cache";
    folder.started = kStart;
    folder.listed = kStart + seconds(1);
    folder.ended = report.ended;
    folder.foldersListed = 3;
    folder.found = {10, 10240};
    folder.left = {10, 10240};
    report.directories.push_back(folder);
    VolumeSweepReport volume;
    volume.path = u"/cache";
    volume.sizeBytes = 1 << 30;
    volume.freeBytes = 1 << 20;
    volume.usedBytes = 10240;
    volume.allowedBytes = 1 << 20;
    report.volumes.push_back(volume);
    return report;
}

SweepRefusal Refusal(SweepStep inStep, const char16_t* inPath, int inError)
{
    SweepRefusal refusal;
    refusal.step = inStep;
    refusal.path = inPath;
    refusal.errorNumber = inError;
    refusal.reason = "because";
    return refusal;
}

TEST(SweepText, ASweepThatDidNothingSaysSo)
{
    EXPECT_EQ("sweep of 2026-03-29 01:01:01 UTC: 1.500 s\n"
              "/cache\n"
              "  found                 10 files, 10.00 KB, in 3 folders\n"
              "  deleted               nothing\n"
              "  left                  10 files, 10.00 KB\n"
              "  took                  1.000 s to list, 0.500 s to decide and delete\n"
              "volume of /cache\n"
              "  free                  1.00 MB of 1.00 GB\n"
              "  limit of bytes        at most 1.00 MB: kept\n",
              SweepReportText(Report()));
    EXPECT_FALSE(RKHost::HasFailures(Report()));
}

TEST(SweepText, EachRuleThatDeletedHasARow)
{
    SweepReport report = Report();
    report.directories[0].deleted = {SweepAmount{1, 1024}, {2, 2048}, {3, 3072}, {4, 4096}};
    const std::string text = SweepReportText(report);
    EXPECT_THAT(text, HasSubstr("deleted by age        1 file, 1.00 KB\n"));
    EXPECT_THAT(text, HasSubstr("deleted by count      2 files, 2.00 KB\n"));
    EXPECT_THAT(text, HasSubstr("deleted by bytes      3 files, 3.00 KB\n"));
    EXPECT_THAT(text, HasSubstr("deleted by volume     4 files, 4.00 KB\n"));
    EXPECT_THAT(text, Not(HasSubstr("nothing")));
}

TEST(SweepText, LimitsThatStandSayByHowMuchAndWhatWasSpared)
{
    SweepReport report = Report();
    DirectorySweepReport& folder = report.directories[0];
    folder.maxFileCount = 8;
    folder.filesOverLimit = 2;
    folder.maxUsedBytes = 8192;
    folder.bytesOverLimit = 2048;
    folder.spared = {2, 2048};
    report.volumes[0].bytesOverLimit = 1024;
    const std::string text = SweepReportText(report);
    EXPECT_THAT(text, HasSubstr("limit of files        at most 8: still 2 over it\n"));
    EXPECT_THAT(text, HasSubstr("limit of bytes        at most 8.00 KB: still 2.00 KB over it\n"));
    EXPECT_THAT(text, HasSubstr("limit of bytes        at most 1.00 MB: still 1.00 KB over it\n"));
    EXPECT_THAT(text, HasSubstr("spared                2 files, 2.00 KB: used in the last 15"));
    EXPECT_FALSE(RKHost::HasFailures(report));
}

TEST(SweepText, RefusalsAreNamedAndFailuresUnlessAFolderHoldsFilesOfOthers)
{
    SweepReport report = Report();
    SweepRefusals& refused = report.directories[0].refused;
    refused.count = 1;
    refused.countByError[ENOTEMPTY] = 1;
    refused.first.push_back(Refusal(SweepStep::kRemoveFolder, u"/cache/foreign", ENOTEMPTY));
    EXPECT_FALSE(RKHost::HasFailures(report));
    EXPECT_THAT(SweepReportText(report), HasSubstr("remove folder /cache/foreign: because\n"));

    refused.count = 12;
    refused.countByError[EACCES] = 11;
    refused.first.push_back(Refusal(SweepStep::kDeleteFile, u"/cache/\n\x1b[2J.rkdc", EACCES));
    EXPECT_TRUE(RKHost::HasFailures(report));
    const std::string text = SweepReportText(report);
    EXPECT_THAT(text, HasSubstr("refused               12 times\n"));
    EXPECT_THAT(text, HasSubstr("delete /cache/\\x0a\\x1b[2J.rkdc: because\n"));
    EXPECT_THAT(text, HasSubstr("and 10 more\n"));
}

TEST(SweepText, WhatEndedEarlyOrGotNoAnswerIsAFailure)
{
    SweepReport report = Report();
    report.volumes[0].outcome = SweepOutcome::kNoAnswer;
    EXPECT_TRUE(RKHost::HasFailures(report));
    EXPECT_THAT(SweepReportText(report),
                HasSubstr("not done              the volume does not answer"));

    report = Report();
    report.directories[0].outcome = SweepOutcome::kUnreadable;
    report.directories[0].listed = ptime();
    EXPECT_TRUE(RKHost::HasFailures(report));
    EXPECT_THAT(SweepReportText(report), HasSubstr("not done              could not be opened"));
    EXPECT_THAT(SweepReportText(report), HasSubstr("took                  ? to list"));

    report = Report();
    report.complete = false;
    EXPECT_TRUE(RKHost::HasFailures(report));
}

TEST(SweepText, ADryRunTellsWhatWouldBe)
{
    SweepReport report = Report();
    report.dryRun = true;
    DirectorySweepReport& folder = report.directories[0];
    folder.deleted[1] = {1, 1024};
    SweptFile file;
    file.path = u"/cache/a.rkdc";
    file.bytes = 1024;
    file.lastUse = kStart;
    file.rule = SweepRule::kCount;
    folder.files.push_back(file);
    folder.folders.push_back(u"/cache/empty");
    std::ostringstream names;
    RKHost::PrintSweptNames(report, names);
    EXPECT_EQ("would delete by count, 1.00 KB, last used 2026-03-29 01:01:01: /cache/a.rkdc\n"
              "would delete the empty folder /cache/empty\n",
              names.str());
    EXPECT_THAT(SweepReportText(report), HasSubstr("would delete by count 1 file, 1.00 KB\n"));
}

} // namespace
} // namespace RKHostTests
