#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include <string>

namespace RKHost
{

// Keeps what FFmpeg logs on this thread away from standard error for the life of the object, and
// remembers the first error, which names the cause of a failure better than its code does.
//
// FFmpeg has one log function for the whole process. The one installed here passes on what other
// users of FFmpeg in the process log, as long as they are not inside a LogCapture.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::string& FirstError() const { return mFirstError; }
    void Take(const char* inText);

    /// To be called once, before the first capture.
    static void Install();

private:
    std::string mFirstError;
    LogCapture* mOuter;
};

} // namespace RKHost
