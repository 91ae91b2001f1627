#pragma once

/* The numbers and records of the media plug-in SDK, as plug-ins see them. The numbering of this side and
   that of the library's own types differ; RKSDKConversion.h translates. Compiles as C and as C++.

   Enumerations travel as 32-bit integers, since a plug-in may hand over any number: every conversion has
   an answer for every number. */

#include <stdint.h>

typedef int32_t QzResult;
/* A value out of range. */
#define kQzParameterError ((QzResult)0x80000001)
/* A pixel format is invalid, or a list is empty. */
#define kQzBadFormatError ((QzResult)0x80010000)
#define kQzSuccess ((QzResult)0)

/* A name of four characters, the first of them in the lowest byte. Names that begin with '@' or '_'
   belong to the plug-in that made them up. */
typedef uint32_t QzPixelFormat;
/* "badf" */
#define kQzPixelFormatInvalid ((QzPixelFormat)0x66646162u)

/* 1 mono, 2 stereo, 3 5.1, 4 multichannel of 32. */
typedef int32_t QzAudioChannelType;
/* 0 to 16. */
typedef int32_t QzAudioSampleType;
/* 0, 100 to 119, 127 to 142: the same numbers as qelmediatypes::AudioChannelLabel. */
typedef int32_t QzAudioChannelLabel;
/* -1 to 4: the same numbers as qelmediatypes::FieldType. */
typedef int32_t QzFieldType;
/* 0 unknown, 1 straight, 2 premultiplied with black, 3 with white, 4 with another colour, 5 opaque,
   6 and 7 not to be looked at. */
typedef int32_t QzAlphaType;
/* The low 16 bits hold the frame rate (24, 25, 30, 48, 50 or 60), the high 16 a kind. 0 is none. */
typedef uint32_t QzTimeFormat;
/* 0 none, 1 to 10: the same numbers as qelmediatypes::PulldownCadence. */
typedef int32_t QzPulldownCadence;
/* 0 to 4, from the lowest to the highest. */
typedef uint32_t QzRenderQuality;
/* Ticks, 254016000000 to the second. */
typedef int64_t QzTime;

/* Right and bottom lie outside. */
typedef struct qzRect
{
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
} qzRect;

/* What the frames of a clip look like. */
typedef struct ClipFrameDescriptor
{
    QzPixelFormat pixelFormat;
    int32_t width; /* in pixels, as the next */
    int32_t height;
    int32_t pixelAspectNumerator;
    int32_t pixelAspectDenominator;
    QzFieldType fieldType;
    int32_t renderQuality; /* -1: any; else 0 to 4 */
} ClipFrameDescriptor;

/* "267a9baa-13de-47e7-9652-6067d5212d2e" and its NUL. */
typedef char qzPluginID[37];
