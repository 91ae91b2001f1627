/* A suite is a header that provider and users share: a name, a version, and a table of functions. */
#ifndef TIMECODE_SUITE_H
#define TIMECODE_SUITE_H

#include <stddef.h>
#include <stdint.h>

#define kTimecodeSuite "Example Timecode Suite"
#define kTimecodeSuiteVersion 1

/* A later version adds at the end. */
typedef struct TimecodeSuite
{
    /* "HH:MM:SS:FF". @param framesPerSecond  1 to 99. @param buffer  of size bytes; cut if that is too few. */
    void (*FormatFrames)(int64_t frames, int32_t framesPerSecond, char* buffer, size_t size);
} TimecodeSuite;

#endif
