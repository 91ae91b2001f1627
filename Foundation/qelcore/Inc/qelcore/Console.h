#pragma once

#include <string>
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

class RK_API Command
{
public:
    Command(const UTF16String& inName, const UTF16String& inDescription);
    virtual ~Command();
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

// Threads: any function from any thread; a command runs on the thread that executes it, with no lock held.
class RK_API CommandRegistry
{
public:
    /// A name registered again takes the place of the first.
    static void RegisterCommand(const UTF16String& inName, const UTF16String& inDescription, const CommandCreator& inCreator);
    static void UnregisterCommand(const UTF16String& inName);
    /// Runs a line: a name, then blanks, then the arguments as one text.
    /// @return false if there is no such command.
    static bool Execute(const UTF16String& inLine, UTF16OutputStream& outStream);
    struct Entry
    {
        UTF16String name;
        UTF16String description;
    };
    /// All commands, by name.
    static std::vector<Entry> List();
};

} // namespace console
} // namespace qelcore
