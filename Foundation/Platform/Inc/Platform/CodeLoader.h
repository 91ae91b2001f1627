// The code of plug-ins, mapped into the process and looked up by name.
//
// Code comes from a file (a shared object), or from a bundle folder that holds one: see CodeFile.h. What has
// been loaded stays for the life of the process: its threads, its statics and what others took from it would
// not survive its going.
//
// Threads  Any.
// Errors   A null answer, and the reason in outError, by the words of the system's loader where it was asked.
#pragma once

#include <string>

namespace Platform
{

class ICodeLoader
{
public:
    virtual ~ICodeLoader();

    /// The file is checked before the system sees it, since one that was cut short would kill the process. What
    /// the code sets up by itself runs within the call; an exception out of that ends the process.
    /// Who writes into a file of code ends it too, then or later: a new one must be renamed over the old.
    /// @param inPath  of a file or a bundle folder. @return the code; the same for the same file.
    virtual void* Load(const std::string& inPath, std::string& outError) = 0;
    /// @param inCode  from Load(). @return a function of that very file: names of what it depends on do not count.
    virtual void* FindEntry(void* inCode, const std::string& inName, std::string& outError) = 0;
};

/// The instance in force.
ICodeLoader& CodeLoader();

/// Puts a loader in the place of the real one for its life. One at a time.
class ScopedCodeLoader
{
public:
    explicit ScopedCodeLoader(ICodeLoader& inLoader);
    ~ScopedCodeLoader();
    ScopedCodeLoader(const ScopedCodeLoader&) = delete;
    ScopedCodeLoader& operator=(const ScopedCodeLoader&) = delete;

private:
    ICodeLoader* mBefore;
};

} // namespace Platform
