#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "qelcore/Export.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

// Settings of one user for one application, which outlive the process.
//
// Keys      Paths with "/" between their parts. The first part is the application; the others name
//           a section of its settings. Paths and names of values are compared exactly. A part is
//           not empty, and neither it nor a name holds a control character; a first part of "." or
//           ".." is none either.
// Where     <config>/<application>/registry.conf, where <config> is $XDG_CONFIG_HOME if that is an
//           absolute path, and else $HOME/.config. With neither set there are no keys, and none can
//           be made.
// Format    UTF-8, one value a line, read as the file is opened by an editor:
//
//               # a comment
//               MemoryBlocks = 4
//               Greeting = "Good \"morning\""
//               [Section/Below]
//               "a name with = in it" = 17
//
//           A value is an unsigned 32-bit number in decimal, or a text in quotation marks. Values
//           before the first section belong to the application itself. A name may stand in
//           quotation marks, and must if it holds "=" or "\", begins with "[", "#" or a quotation
//           mark, or has blanks at its ends. Within quotation marks \" \\ \n \r \t stand for those
//           characters. Of two values for one name the last counts. A line counts only if its line
//           end (LF or CR LF) is there: what was cut short is missing, never wrong. A line that
//           cannot be read leaves its value missing and all others as they are; so does a value of
//           a kind that later versions may add. At most kMaxRegistryBytes.
// Threads   Any function from any thread, but one RegistryKey object is used by one thread at a
//           time.
// Errors    Nothing here raises but for lack of memory. What was passed over is traced in the
//           category "ZOR::RegistryKey" at level 0, once for each state of the file.
namespace ZOR
{

enum class RegistryRoot
{
    kCurrentUser,
};

constexpr std::size_t kMaxRegistryBytes = 1u << 20; // far above any hand's work

constexpr qelcore::Result kResult_RegistryNoKey = static_cast<qelcore::Result>(0xA00F0201u);
constexpr qelcore::Result kResult_RegistryNoValue = static_cast<qelcore::Result>(0xA00F0202u);
constexpr qelcore::Result kResult_RegistryOtherType = static_cast<qelcore::Result>(0xA00F0203u);
constexpr qelcore::Result kResult_RegistryBadName = static_cast<qelcore::Result>(0xA00F0204u);
constexpr qelcore::Result kResult_RegistryNotWritten = static_cast<qelcore::Result>(0xA00F0205u);

/// The application's base key: one part, made of the client's name (qelcore/ClientName.h), with "_"
/// for what a part must not hold.
RK_API qelcore::UTF16String GetRegistryBaseKey();

// One key. Open() takes the values as the file holds them then; repeated, it costs one look at the
// file's state.
class RK_API RegistryKey
{
public:
    RegistryKey();
    ~RegistryKey();
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    /// Opens an existing key. A key exists once its section, or for one part its file, does.
    /// @return kResult_OK; kResult_RegistryNoKey if there is none, or the file cannot be read, and
    ///         then this object holds no key; kResult_RegistryBadName.
    qelcore::Result Open(RegistryRoot inRoot, const qelcore::UTF16String& inPath);
    /// Opens a key whether it exists or not; it is made when the first value is set.
    qelcore::Result CreateOrOpen(RegistryRoot inRoot, const qelcore::UTF16String& inPath);

    /// @param outValue  0 after a failure.
    /// @return kResult_OK, kResult_RegistryNoKey, kResult_RegistryNoValue or
    ///         kResult_RegistryOtherType.
    qelcore::Result GetUInt32Value(const qelcore::UTF16String& inName,
                                   std::uint32_t& outValue) const;
    /// @param outValue  empty after a failure.
    qelcore::Result GetTextValue(const qelcore::UTF16String& inName,
                                 qelcore::UTF16String& outValue) const;

    /// Sets a value, and takes all values of the key afresh. Comments, and lines that could not be
    /// read, stay in the file, but for a last one that was cut short. The file is replaced as a
    /// whole: a reader sees it as it was or as it is. When two processes write at once the later
    /// one wins.
    /// @return kResult_OK; kResult_RegistryNoKey if this object holds none;
    ///         kResult_RegistryBadName; kResult_RegistryNotWritten, and then the file is as it was.
    qelcore::Result SetUInt32Value(const qelcore::UTF16String& inName, std::uint32_t inValue);
    /// An unpaired surrogate in inValue becomes U+FFFD, and a control character other than tab, LF
    /// and CR a blank.
    qelcore::Result SetTextValue(const qelcore::UTF16String& inName,
                                 const qelcore::UTF16String& inValue);
    /// @return also kResult_RegistryNoValue.
    qelcore::Result RemoveValue(const qelcore::UTF16String& inName);

private:
    class Impl;
    std::unique_ptr<Impl> mImpl; // null while no key is open
};

} // namespace ZOR
