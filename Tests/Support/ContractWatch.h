#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qelcore/Contract.h"
#include "qelcore/ErrorManager.h"

namespace Testing
{

/// What is reported through the contract dialogs while it lives. One at a time.
class ContractWatch
{
public:
    struct Reported
    {
        std::string condition;
        std::string path;
        std::string signature;
    };

    ContractWatch()
    {
        qelcore::debug::SetBreakObserver(
            [this](const qelcore::debug::FailedCondition& inFailed)
            { reported.push_back({inFailed.condition, inFailed.path, inFailed.signature}); });
    }
    ~ContractWatch() { qelcore::debug::SetBreakObserver({}); }
    ContractWatch(const ContractWatch&) = delete;
    ContractWatch& operator=(const ContractWatch&) = delete;

    std::vector<Reported> reported;
};

/// Does what violates a contract, and looks at both of the steps in which that is told.
/// @param inPath       of the source that reports it.
/// @param inSignature  a part of the signature's text.
template <class Action>
void ExpectContractViolation(const Action& inAction, const std::string& inCondition,
                             const std::string& inPath, const std::string& inSignature)
{
    const ContractWatch watch;
    try
    {
        inAction();
        ADD_FAILURE() << "no error was raised";
    }
    catch (const qelcore::config::Error& error)
    {
        EXPECT_EQ("$$$/qelcore/utility/Error/Contract/InputContractViolation=An input contract "
                  "violation has occurred!",
                  error.Key());
    }
    ASSERT_EQ(1u, watch.reported.size());
    EXPECT_EQ(inCondition, watch.reported[0].condition);
    EXPECT_EQ(inPath, watch.reported[0].path);
    EXPECT_THAT(watch.reported[0].signature, ::testing::HasSubstr(inSignature));
}

} // namespace Testing
