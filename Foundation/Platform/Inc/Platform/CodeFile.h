// Files of code, looked at without running any of it.
//
// A bundle folder Name.plugin has its code in Contents/Linux-<machine>/Name.so or Contents/Linux/Name.so, the
// first that is there. Any other path is the file itself.
//
// Threads  Any. Files are read through FileSystem().
// Errors   Each fault has a text that says which file and what is wrong with it.
#pragma once

#include <cstddef>
#include <string>

namespace Platform
{

enum class CodeFault
{
    kNone,
    kMissing,           ///< nothing has that name
    kNoCode,            ///< a folder without code, or a file that is no shared object
    kWrongArchitecture, ///< "wrong architecture": code for another kind of machine
    kDamaged,           ///< "damaged": what the file says of itself cannot be
    kUnreadable,        ///< the system refused, with its own words
};

/// @param outFile  absolute.
CodeFault FindCodeFile(const std::string& inPath, std::string& outFile, std::string& outText);

/// Whether the system's loader may see the file: a shared object for this machine, all of whose segments lie
/// within it. What the file says further in is not looked at.
CodeFault CheckCodeFile(const std::string& inFile, std::string& outText);

/// The bytes of a section, or else those of an exported object, as they lie in the file. Code for other machines
/// is read as well, if it has the same width and byte order.
/// @param outBytes  empty if the file has neither of them.
CodeFault ReadCodeBytes(const std::string& inFile, const std::string& inSection,
                        const std::string& inObject, std::size_t inMaxBytes, std::string& outBytes,
                        std::string& outText);

/// A path that does not begin with a slash is one of the current directory.
std::string AbsolutePath(const std::string& inPath);

} // namespace Platform
