#include "qelcore/Console.h"

#include <algorithm>
#include <exception>
#include <map>
#include <utility>

#include "qelcore/Contract.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace qelcore
{
namespace console
{
namespace
{

constexpr char16_t kBlanks[] = u" \t\r\n";

struct Registration
{
    UTF16String description;
    CommandCreator creator;
};

struct Registry
{
    threads::RecursiveMutex mMutex; // a leaf: creators and commands run without it
    std::map<UTF16String, Registration> mCommands RK_GUARDED_BY(mMutex);

    /// @return false if there is no such command.
    bool Find(const UTF16String& inName, Registration& outRegistration)
    {
        const threads::RecursiveMutex::ScopedLock lock(mMutex, "CommandRegistry::Find");
        const auto found = mCommands.find(inName);
        if (found == mCommands.end())
            return false;
        outRegistration = found->second;
        return true;
    }
};

Registry& TheRegistry()
{
    static Registry& sRegistry =
        *new Registry; // never destroyed: commands are unregistered at exit, too
    return sRegistry;
}

UTF16String WithoutBlanks(const UTF16String& inText)
{
    const std::size_t first = inText.find_first_not_of(kBlanks);
    if (first == UTF16String::npos)
        return {};
    return inText.substr(first, inText.find_last_not_of(kBlanks) - first + 1);
}

void TellOfFailure(const UTF16String& inName, const char* inReason, UTF16OutputStream& outStream)
{
    RK_TRACE("Console", 0, inName << " failed: " << inReason);
    outStream << inName << " failed: " << utility::NarrowToUTF16(inReason) << "\n";
}

void MakeAndRun(const UTF16String& inName, const Registration& inRegistration,
                const UTF16String& inArguments, UTF16OutputStream& outStream)
{
    try
    {
        const CommandPtr command = inRegistration.creator(inName, inRegistration.description);
        if (command)
            command->Execute(inArguments, outStream);
        else
            TellOfFailure(inName, "its creator made no command", outStream);
    }
    catch (const std::exception& exception)
    {
        TellOfFailure(inName, exception.what(), outStream);
    }
    catch (...)
    {
        TellOfFailure(inName, "unknown exception", outStream);
    }
}

} // namespace

Command::Command(const UTF16String& inName, const UTF16String& inDescription)
    : mName(inName)
    , mDescription(inDescription)
{
}

Command::~Command() = default;

void CommandRegistry::RegisterCommand(const UTF16String& inName, const UTF16String& inDescription,
                                      const CommandCreator& inCreator)
{
    constexpr const char* kPath = "Foundation/qelcore/Src/Console/Console";
    RK_REQUIRE_CONTRACT(!inName.empty(), "!inName.empty()", kPath);
    RK_REQUIRE_CONTRACT(inName.find_first_of(kBlanks) == UTF16String::npos,
                        "inName.find_first_of(kBlanks) == npos", kPath);
    RK_REQUIRE_CONTRACT(!inCreator.empty(), "!inCreator.empty()", kPath);
    Registration registration{inDescription, inCreator};
    // What was there before is destroyed behind the lock: it is the client's code.
    const threads::RecursiveMutex::ScopedLock lock(TheRegistry().mMutex,
                                                   "CommandRegistry::RegisterCommand");
    std::swap(TheRegistry().mCommands[inName], registration);
}

void CommandRegistry::UnregisterCommand(const UTF16String& inName)
{
    std::map<UTF16String, Registration>::node_type removed; // outlives the lock, as above
    const threads::RecursiveMutex::ScopedLock lock(TheRegistry().mMutex,
                                                   "CommandRegistry::UnregisterCommand");
    removed = TheRegistry().mCommands.extract(inName);
}

bool CommandRegistry::Execute(const UTF16String& inLine, UTF16OutputStream& outStream)
{
    const UTF16String line = WithoutBlanks(inLine);
    const std::size_t nameSize = std::min(line.find_first_of(kBlanks), line.size());
    const UTF16String name = line.substr(0, nameSize);
    Registration registration;
    if (!TheRegistry().Find(name, registration))
        return false;
    MakeAndRun(name, registration, WithoutBlanks(line.substr(nameSize)), outStream);
    return true;
}

std::vector<CommandRegistry::Entry> CommandRegistry::List()
{
    std::vector<Entry> entries;
    const threads::RecursiveMutex::ScopedLock lock(TheRegistry().mMutex, "CommandRegistry::List");
    for (const auto& command : TheRegistry().mCommands)
        entries.push_back({command.first, command.second.description});
    return entries;
}

} // namespace console
} // namespace qelcore
