#pragma once

// rkhost as its users have it: the built program, run as a child process.

#include <regex>
#include <string>
#include <vector>

#include <stdlib.h>

#include <gmock/gmock.h>

#include "ChildProcess.h"
#include "HostFixture.h"

namespace RKHostTests
{

struct Ended
{
    int mCode;
    std::string mOutput;
    std::string mError;
};

class RkhostTest : public testing::Test
{
protected:
    static Ended Run(std::vector<std::string> inArguments, const std::string& inInput = "",
                     const std::vector<std::string>& inEnvironment = {})
    {
        inArguments.insert(inArguments.begin(), RKHOST_TEST_PROGRAM);
        return RunCommand(inArguments, inInput, inEnvironment);
    }

    static Ended RunCommand(const std::vector<std::string>& inCommand,
                            const std::string& inInput = "",
                            const std::vector<std::string>& inEnvironment = {})
    {
        const ChildProcess child(inCommand, inInput, inEnvironment);
        Ended ended;
        ended.mOutput = child.ReadOutput();
        ended.mError = child.ReadError();
        ended.mCode = child.Wait();
        return ended;
    }

    /// A row of the summary, its cells separated by one blank.
    static std::string Row(const Ended& inEnded, const std::string& inName)
    {
        std::smatch match;
        if (!std::regex_search(inEnded.mOutput, match,
                               std::regex("(^|\n)" + inName + "( +[^\n]*)")))
            return "no such row";
        const std::string cells = std::regex_replace(match[2].str(), std::regex(" +"), " ");
        return cells.substr(1);
    }

    static long Count(const std::string& inText, const std::string& inPart)
    {
        long count = 0;
        for (std::size_t at = inText.find(inPart); at != std::string::npos;
             at = inText.find(inPart, at + 1))
            ++count;
        return count;
    }

    FrameFolder mFolder;
};

} // namespace RKHostTests
