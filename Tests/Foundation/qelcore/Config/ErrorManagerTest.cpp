#include "qelcore/ErrorManager.h"

#include <new>
#include <stdexcept>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/TraceCapture.h"
#include "qelcore/Localizer.h"

namespace
{

using namespace qelcore::config;
using qelcore::UTF16String;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Records what was shown, and what it was asked to purge.
class RecordingManager : public ErrorManager
{
public:
    RecordingManager()
    {
        SetErrorDisplay([this](const Error& inError) { mShown.push_back(inError.what()); });
    }
    bool PurgeMemory(std::size_t inBytes) override
    {
        mPurges.push_back(inBytes);
        return true;
    }
    std::vector<std::string> mShown;
    std::vector<std::size_t> mPurges;
};

class ErrorManagerTest : public testing::Test
{
protected:
    ErrorManagerTest() { SetErrorManager(mManager); }
    ~ErrorManagerTest() override { SetErrorManager(nullptr); }

    template <class Function>
    static std::string TextOf(const Function& inFunction)
    {
        try
        {
            inFunction();
        }
        catch (const Error& error)
        {
            return error.what();
        }
        return "(nothing raised)";
    }
    boost::shared_ptr<RecordingManager> mManager = boost::make_shared<RecordingManager>();
};

TEST(Placeholders, StandForTheValueOfTheirNumber)
{
    EXPECT_EQ(u"b and a", ReplacePlaceholders(u"@1 and @0", {u"a", u"b"}));
    EXPECT_EQ(u"aa0", ReplacePlaceholders(u"@0@00", {u"a"}));
    EXPECT_EQ(u"j0", ReplacePlaceholders(
                         u"@90", {u"a", u"b", u"c", u"d", u"e", u"f", u"g", u"h", u"i", u"j"}));
}

TEST(Placeholders, WithoutAValueStayAsTheyAre)
{
    EXPECT_EQ(u"@1 @ @x a@b.c @", ReplacePlaceholders(u"@1 @ @x a@b.c @", {u"a"}));
    EXPECT_EQ(u"@0", ReplacePlaceholders(u"@0", {}));
}

TEST(Placeholders, InAValueAreNotReplacedAgain)
{
    EXPECT_EQ(u"@1b", ReplacePlaceholders(u"@0@1", {u"@1", u"b"}));
}

TEST(Placeholders, TakeTextsAndNumbers)
{
    const ReplacementValues values{"\xC3\xA9", std::string("s"), -1, 2u, -3l, 4ul, -5ll, 6ull, 0.5};
    EXPECT_EQ(u"\u00E9 s -1 2 -3 4 -5 6 0.5",
              ReplacePlaceholders(u"@0 @1 @2 @3 @4 @5 @6 @7 @8", values));
}

TEST_F(ErrorManagerTest, ThrowErrorRaisesTheTextOfItsLiteralWithItsValues)
{
    try
    {
        ThrowError(kErrorLevel_Warning, "$$$/Test/Missing=Missing: @0 (@1)", u"film.mov", 3);
        FAIL() << "nothing was raised";
    }
    catch (const Error& error)
    {
        EXPECT_EQ(kErrorLevel_Warning, error.Level());
        EXPECT_EQ("$$$/Test/Missing=Missing: @0 (@1)", error.Key());
        EXPECT_EQ(u"Missing: film.mov (3)", error.Text());
        EXPECT_STREQ("Missing: film.mov (3)", error.what());
    }
}

TEST_F(ErrorManagerTest, ThrowErrorTakesTheTextOfALoadedTable)
{
    Localizer::Get().LoadTable("\"$$$/Test/Missing\"=\"Fehlt: @0\"\n");
    EXPECT_EQ("Fehlt: film.mov",
              TextOf([] { ThrowError(0, "$$$/Test/Missing=Missing: @0", "film.mov"); }));
    Localizer::Get().Clear();
}

TEST_F(ErrorManagerTest, AnErrorCanBeCaughtAsAStandardException)
{
    EXPECT_THROW(ThrowError(0, "$$$/Test=Text"), std::runtime_error);
}

TEST_F(ErrorManagerTest, TheManagerInForceDecidesWhatIsRaised)
{
    class Other : public ErrorManager
    {
        void ThrowError(int, const std::string&, const ReplacementValues&) override
        {
            throw std::logic_error("mine");
        }
    };
    const boost::shared_ptr<ErrorManager> before = SetErrorManager(boost::make_shared<Other>());
    EXPECT_EQ(mManager, before);
    EXPECT_THROW(ThrowError(0, "$$$/Test=Text"), std::logic_error);
}

TEST_F(ErrorManagerTest, ThrowErrorRaisesEvenIfTheManagerReturns)
{
    class Silent : public ErrorManager
    {
        void ThrowError(int, const std::string&, const ReplacementValues&) override {}
    };
    SetErrorManager(boost::make_shared<Silent>());
    EXPECT_EQ("Text", TextOf([] { ThrowError(0, "$$$/Test=Text"); }));
}

TEST_F(ErrorManagerTest, NullRestoresTheDefaultManager)
{
    SetErrorManager(nullptr);
    ASSERT_NE(nullptr, GetErrorManager());
    EXPECT_NE(mManager, GetErrorManager());
    EXPECT_FALSE(GetErrorManager()->PurgeMemory(1));
}

TEST_F(ErrorManagerTest, ConvertingLeavesAnErrorAsItIs)
{
    EXPECT_EQ("Text", TextOf(
                          [&]
                          {
                              mManager->ExecuteFunctionAndConvertException(
                                  [] { ThrowError(7, "$$$/Test=Text"); });
                          }));
    EXPECT_THAT(mManager->mPurges, IsEmpty());
}

TEST_F(ErrorManagerTest, ConvertingTurnsEveryOtherExceptionIntoAnError)
{
    EXPECT_EQ("An unexpected error has occurred: no disk",
              TextOf(
                  [&]
                  {
                      mManager->ExecuteFunctionAndConvertException(
                          [] { throw std::runtime_error("no disk"); });
                  }));
    EXPECT_EQ("An unexpected error has occurred: no std::exception",
              TextOf([&] { mManager->ExecuteFunctionAndConvertException([] { throw 5; }); }));
}

TEST_F(ErrorManagerTest, ConvertingPurgesBeforeItTellsThatThereIsNoMemory)
{
    EXPECT_EQ(
        "There is not enough memory.",
        TextOf([&]
               { mManager->ExecuteFunctionAndConvertException([] { throw std::bad_alloc(); }); }));
    EXPECT_THAT(mManager->mPurges, ElementsAre(std::size_t{64} << 20));
}

TEST_F(ErrorManagerTest, ConvertingRunsAFunctionThatRaisesNothing)
{
    bool ran = false;
    mManager->ExecuteFunctionAndConvertException([&] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST_F(ErrorManagerTest, TheTopLevelHandlerShowsWhatIsRaisedAndLetsNothingOut)
{
    EXPECT_TRUE(mManager->ExecuteFunctionWithTopLevelExceptionHandler([] {}));
    EXPECT_FALSE(mManager->ExecuteFunctionWithTopLevelExceptionHandler(
        [] { ThrowError(0, "$$$/Test=First"); }));
    EXPECT_FALSE(mManager->ExecuteFunctionWithTopLevelExceptionHandler([] { throw 5; }));
    EXPECT_THAT(mManager->mShown, ElementsAre("First", HasSubstr("unexpected error")));
}

TEST_F(ErrorManagerTest, WithoutADisplayErrorsAreTraced)
{
    Testing::TraceCapture capture("ErrorManager");
    mManager->SetErrorDisplay(ErrorDisplay());
    mManager->DisplayError(Error(2, "$$$/Test=Text", u"Text"));
    EXPECT_THAT(capture.Texts(), ElementsAre("Level 2: Text [$$$/Test=Text]"));
}

TEST_F(ErrorManagerTest, ADisplayThatRaisesIsTracedAndLetsNothingOut)
{
    Testing::TraceCapture capture("ErrorManager");
    mManager->SetErrorDisplay([](const Error&) { throw std::runtime_error("no window"); });
    mManager->DisplayError(Error(2, "$$$/Test=Text", u"Text"));
    EXPECT_THAT(capture.Texts(), ElementsAre("An error could not be shown: Text (no window)"));
}

TEST_F(ErrorManagerTest, ErrorsShownLazilyAppearWhenTheLastCounterIsBack)
{
    mManager->IncrementLazilyDisplayErrors();
    mManager->IncrementLazilyDisplayErrors();
    mManager->DisplayError(Error(0, "", u"First"));
    mManager->DecrementLazilyDisplayErrors();
    mManager->DisplayError(Error(0, "", u"Second"));
    EXPECT_THAT(mManager->mShown, IsEmpty());

    mManager->DecrementLazilyDisplayErrors();
    EXPECT_THAT(mManager->mShown, ElementsAre("First", "Second"));
    mManager->DisplayError(Error(0, "", u"Third"));
    EXPECT_THAT(mManager->mShown, ElementsAre("First", "Second", "Third"));
}

TEST_F(ErrorManagerTest, ADecrementTooManyDoesNothing)
{
    mManager->DecrementLazilyDisplayErrors();
    mManager->IncrementLazilyDisplayErrors();
    mManager->DisplayError(Error(0, "", u"Kept"));
    EXPECT_THAT(mManager->mShown, IsEmpty());
    mManager->DecrementLazilyDisplayErrors();
    EXPECT_THAT(mManager->mShown, ElementsAre("Kept"));
}

TEST_F(ErrorManagerTest, ADeferredReporterShowsItsErrorsAtItsEnd)
{
    DeferredErrorReporterPtr reporter = mManager->NewDeferredErrorReporter(true);
    reporter->Report(Error(0, "", u"First"));
    reporter->Report(Error(0, "", u"Second"));
    EXPECT_THAT(mManager->mShown, IsEmpty());
    EXPECT_EQ(2u, reporter->Errors().size());

    reporter.reset();
    EXPECT_THAT(mManager->mShown, ElementsAre("First", "Second"));
}

TEST_F(ErrorManagerTest, ADeferredReporterMayDropItsErrors)
{
    DeferredErrorReporterPtr reporter = mManager->NewDeferredErrorReporter(false);
    reporter->Report(Error(0, "", u"First"));
    reporter.reset();
    EXPECT_THAT(mManager->mShown, IsEmpty());
}

TEST_F(ErrorManagerTest, ADeferredReporterMayOutliveItsManager)
{
    std::vector<std::string> shown;
    auto manager = boost::make_shared<ErrorManager>();
    manager->SetErrorDisplay([&](const Error& inError) { shown.push_back(inError.what()); });
    DeferredErrorReporterPtr reporter = manager->NewDeferredErrorReporter(true);
    reporter->Report(Error(0, "", u"First"));
    manager.reset();
    reporter.reset();
    EXPECT_THAT(shown, IsEmpty());
}

} // namespace
