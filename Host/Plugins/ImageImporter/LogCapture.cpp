// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "LogCapture.h"

#include <cstdarg>
#include <cstdio>

extern "C"
{
#include <libavutil/log.h>
}

namespace RKHost
{

namespace
{

thread_local LogCapture* sCurrent = nullptr;

void OnLog(void* inSource, int inLevel, const char* inFormat, va_list inArguments)
{
    if (sCurrent == nullptr)
    {
        av_log_default_callback(inSource, inLevel, inFormat, inArguments);
        return;
    }
    if (inLevel > AV_LOG_ERROR)
        return;
    char text[160] = {};
    std::vsnprintf(text, sizeof text, inFormat, inArguments);
    sCurrent->Take(text);
}

} // namespace

LogCapture::LogCapture()
    : mOuter(sCurrent)
{
    sCurrent = this;
}

LogCapture::~LogCapture()
{
    sCurrent = mOuter;
}

void LogCapture::Take(const char* inText)
{
    if (!mFirstError.empty())
        return;
    mFirstError = inText;
    for (char& c : mFirstError)
        if (static_cast<unsigned char>(c) < ' ')
            c = ' ';
    while (!mFirstError.empty() && (mFirstError.back() == ' ' || mFirstError.back() == '.'))
        mFirstError.pop_back();
}

void LogCapture::Install()
{
    av_log_set_callback(&OnLog);
}

} // namespace RKHost
