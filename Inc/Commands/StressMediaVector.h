#pragma once

#include "qelcore/Console.h"
#include "qelcore/UTFStream.h"
#include "qelcore/UTFString.h"

namespace RK
{
namespace Commands
{

// Reads, writes and clears a MediaVector from several threads at a time while the media manager is made
// to purge, and prints what was done and how many elements were found broken, which should be none. It
// leaves nothing behind in the manager.
class StressMediaVector : public qelcore::console::Command
{
public:
    static const qelcore::UTF16String kName;
    static const qelcore::UTF16String kDescription;

    using Command::Command;
    /// @param inArguments  must be empty; otherwise nothing is done but saying so.
    void Execute(const qelcore::UTF16String& inArguments,
                 qelcore::UTF16OutputStream& outStream) override;
};

} // namespace Commands
} // namespace RK
