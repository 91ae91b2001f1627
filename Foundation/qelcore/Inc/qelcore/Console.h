#pragma once

#include <vector>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFStream.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace console
{

// A command of the host's console. One object serves one execution.
class RK_API Command
{
public:
    Command(const UTF16String& inName, const UTF16String& inDescription);
    virtual ~Command();
    /// @param inArguments  what stood behind the name, without blanks at its ends.
    virtual void Execute(const UTF16String& inArguments, UTF16OutputStream& outStream) = 0;
    const UTF16String& Name() const noexcept { return mName; }
    const UTF16String& Description() const noexcept { return mDescription; }

private:
    UTF16String mName;
    UTF16String mDescription;
};

using CommandPtr = boost::shared_ptr<Command>;
using CommandCreator = boost::function<CommandPtr(const UTF16String&, const UTF16String&)>;

/// Makes commands of class T, whose constructor takes name and description.
template <class T>
struct CommandRegistrar
{
    static CommandPtr CreateCommand(const UTF16String& inName, const UTF16String& inDescription)
    {
        return CommandPtr(new T(inName, inDescription));
    }
};

// The commands of the process.
//
// Names    Compared exactly. Not empty, and without blanks (space, tab, CR, LF), since a blank ends
//          the name in a line.
// Threads  Any function from any thread. A command is made and run on the thread that executes it,
//          with no lock held; one that is running when it is unregistered runs to its end.
class RK_API CommandRegistry
{
public:
    /// A name registered again takes the place of the first. The creator is called at each
    /// execution. An empty name, a name with a blank or an empty creator is a contract violation.
    static void RegisterCommand(const UTF16String& inName, const UTF16String& inDescription,
                                const CommandCreator& inCreator);
    /// Nothing happens if there is no such command.
    static void UnregisterCommand(const UTF16String& inName);

    /// Runs a line: a name, then blanks, then the arguments as one text. Blanks at the ends of the
    /// line do not count. An exception of the creator or the command, or a creator that gives null,
    /// ends here: it writes "<name> failed: <reason>\n", and a trace line of the category "Console"
    /// at level 0.
    /// @return false if there is no such command, and then nothing is written.
    static bool Execute(const UTF16String& inLine, UTF16OutputStream& outStream);

    struct Entry
    {
        UTF16String name;
        UTF16String description;
    };
    /// All commands, by name in the order of UTF-16 units.
    static std::vector<Entry> List();
};

} // namespace console
} // namespace qelcore
