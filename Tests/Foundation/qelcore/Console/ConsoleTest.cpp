#include "qelcore/Console.h"

#include <stdexcept>
#include <thread>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/TraceCapture.h"
#include "qelcore/ErrorManager.h"

namespace
{

using qelcore::oUTF16StringStream;
using qelcore::UTF16OutputStream;
using qelcore::UTF16String;
using qelcore::console::Command;
using qelcore::console::CommandCreator;
using qelcore::console::CommandPtr;
using qelcore::console::CommandRegistrar;
using qelcore::console::CommandRegistry;
using testing::ElementsAre;

// Prints how it was called.
class Echo : public Command
{
public:
    using Command::Command;
    void Execute(const UTF16String& inArguments, UTF16OutputStream& outStream) override
    {
        outStream << Name() << "(" << inArguments << ")";
    }
};

class Fails : public Command
{
public:
    using Command::Command;
    void Execute(const UTF16String&, UTF16OutputStream& outStream) override
    {
        outStream << "begun\n";
        throw std::runtime_error("no disk");
    }
};

class ConsoleTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CommandRegistry::RegisterCommand(u"Test.Echo", u"Prints its arguments",
                                         &CommandRegistrar<Echo>::CreateCommand);
    }
    void TearDown() override
    {
        for (const CommandRegistry::Entry& entry : CommandRegistry::List())
            if (entry.name.compare(0, 5, u"Test.") == 0)
                CommandRegistry::UnregisterCommand(entry.name);
    }
    static UTF16String Run(const UTF16String& inLine)
    {
        oUTF16StringStream stream;
        return CommandRegistry::Execute(inLine, stream) ? stream.str() : u"(unknown)";
    }
    static void Register(const CommandCreator& inCreator)
    {
        CommandRegistry::RegisterCommand(u"Test.Odd", u"", inCreator);
    }
};

TEST_F(ConsoleTest, ArgumentsAreOneTextWithoutBlanksAtItsEnds)
{
    EXPECT_EQ(u"Test.Echo()", Run(u"Test.Echo"));
    EXPECT_EQ(u"Test.Echo(1)", Run(u"Test.Echo 1"));
    EXPECT_EQ(u"Test.Echo(1  two\t3)", Run(u" \tTest.Echo \t 1  two\t3 \r\n"));
}

TEST_F(ConsoleTest, AnUnknownCommandWritesNothing)
{
    oUTF16StringStream stream;
    for (const char16_t* line :
         {u"", u"  ", u"Test.Ech", u"Test.Echoes", u"test.echo", u"\"Test.Echo\""})
        EXPECT_FALSE(CommandRegistry::Execute(line, stream));
    EXPECT_EQ(u"", stream.str());
}

TEST_F(ConsoleTest, AnUnregisteredCommandIsUnknown)
{
    CommandRegistry::UnregisterCommand(u"Test.Echo");
    CommandRegistry::UnregisterCommand(u"Test.Echo");
    EXPECT_EQ(u"(unknown)", Run(u"Test.Echo"));
}

TEST_F(ConsoleTest, ANameRegisteredAgainTakesThePlaceOfTheFirst)
{
    CommandRegistry::RegisterCommand(u"Test.Echo", u"Other",
                                     &CommandRegistrar<Fails>::CreateCommand);
    EXPECT_EQ(u"begun\nTest.Echo failed: no disk\n", Run(u"Test.Echo"));
}

TEST_F(ConsoleTest, CommandsAreListedByNameWithTheirDescriptions)
{
    CommandRegistry::RegisterCommand(u"Test.A", u"First", &CommandRegistrar<Echo>::CreateCommand);
    std::vector<UTF16String> names;
    std::vector<UTF16String> descriptions;
    for (const CommandRegistry::Entry& entry : CommandRegistry::List())
    {
        names.push_back(entry.name);
        descriptions.push_back(entry.description);
    }
    EXPECT_THAT(names, ElementsAre(u"Test.A", u"Test.Echo"));
    EXPECT_THAT(descriptions, ElementsAre(u"First", u"Prints its arguments"));
}

TEST_F(ConsoleTest, EachExecutionHasACommandOfItsOwn)
{
    int made = 0;
    Register(
        [&](const UTF16String& inName, const UTF16String& inDescription) -> CommandPtr
        {
            ++made;
            return boost::make_shared<Echo>(inName, inDescription);
        });
    EXPECT_EQ(0, made);
    Run(u"Test.Odd 1");
    Run(u"Test.Odd 2");
    EXPECT_EQ(2, made);
}

TEST_F(ConsoleTest, ACommandThatRaisesFailsInWordsAndInTheTrace)
{
    Testing::TraceCapture capture("Console");
    Register(&CommandRegistrar<Fails>::CreateCommand);
    EXPECT_EQ(u"begun\nTest.Odd failed: no disk\n", Run(u"Test.Odd"));
    EXPECT_THAT(capture.Texts(), ElementsAre("Test.Odd failed: no disk"));
}

TEST_F(ConsoleTest, ACreatorThatRaisesOrMakesNothingFailsInWords)
{
    Register([](const UTF16String&, const UTF16String&) -> CommandPtr
             { throw std::runtime_error("no such thing"); });
    EXPECT_EQ(u"Test.Odd failed: no such thing\n", Run(u"Test.Odd"));

    Register([](const UTF16String&, const UTF16String&) -> CommandPtr { throw 5; });
    EXPECT_EQ(u"Test.Odd failed: unknown exception\n", Run(u"Test.Odd"));

    Register([](const UTF16String&, const UTF16String&) { return CommandPtr(); });
    EXPECT_EQ(u"Test.Odd failed: its creator made no command\n", Run(u"Test.Odd"));
}

TEST_F(ConsoleTest, ANameThatNoLineCanHoldIsAContractViolation)
{
    const CommandCreator creator = &CommandRegistrar<Echo>::CreateCommand;
    testing::internal::CaptureStderr(); // a debug build speaks there
    for (const char16_t* name : {u"", u"Test. A", u" Test.A", u"Test.A\t", u"Test.A\n"})
        EXPECT_THROW(CommandRegistry::RegisterCommand(name, u"", creator), qelcore::config::Error);
    EXPECT_THROW(CommandRegistry::RegisterCommand(u"Test.A", u"", CommandCreator()),
                 qelcore::config::Error);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(1u, CommandRegistry::List().size());
}

TEST_F(ConsoleTest, ACommandMayTakeItselfAwayWhileItRuns)
{
    class Leaves : public Command
    {
    public:
        using Command::Command;
        void Execute(const UTF16String&, UTF16OutputStream& outStream) override
        {
            CommandRegistry::UnregisterCommand(Name());
            outStream << "gone";
        }
    };
    Register(&CommandRegistrar<Leaves>::CreateCommand);
    EXPECT_EQ(u"gone", Run(u"Test.Odd"));
    EXPECT_EQ(u"(unknown)", Run(u"Test.Odd"));
}

TEST_F(ConsoleTest, CommandsRunOnTheThreadThatExecutesThemWithoutALock)
{
    class FromElsewhere : public Command
    {
    public:
        using Command::Command;
        void Execute(const UTF16String&, UTF16OutputStream& outStream) override
        {
            // Another thread can use the registry meanwhile: it would wait for ever for a held lock.
            UTF16String text;
            std::thread([&] { text = Run(u"Test.Echo inner"); }).join();
            outStream << text;
        }
    };
    Register(&CommandRegistrar<FromElsewhere>::CreateCommand);
    EXPECT_EQ(u"Test.Echo(inner)", Run(u"Test.Odd"));
}

} // namespace
