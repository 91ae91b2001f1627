#pragma once

/* What rkhost and an image importer plug-in say to each other. Plain C, so that a plug-in may be built
** with another compiler and standard library, and under another licence, than the host.
**
** A plug-in is a shared module that exports RKGetImageImporter. The host loads it once, never unloads
** it, and calls it through the table that it returns.
**
** Threads    Every function may be called from any thread at a time. One RKImage belongs to one
**            thread at a time. No function makes threads of its own: the host decodes several images
**            at a time instead.
** Ownership  Inputs are borrowed for the call. What is handed out is given back to the function that
**            is named for it; nothing crosses through malloc and free.
** Errors     An RKImageStatus, and a text of one line without a line end for people. No input makes a
**            function crash or raise: an exception does not pass this border.
** Outputs    Cleared first, so that they are null or zero after a failure. */

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

/* Changes whenever a record or a function below does. */
#define RK_IMAGE_IMPORTER_ABI 1

#define RK_IMAGE_MAX_PLANES 3

/* Longest side and most pixels of an image that is decoded. What says that it is larger is refused
** before anything of that size is allocated. */
#define RK_IMAGE_MAX_SIDE 32768
#define RK_IMAGE_MAX_PIXELS 134217728 /* 128 Mi */

typedef int32_t RKImageStatus; /* negative for failure */
enum
{
    kRKImageStatus_OK = 0,
    kRKImageStatus_BadArgument = -1,
    kRKImageStatus_UnknownFormat = -2, /* none of the formats that the plug-in reads */
    kRKImageStatus_Damaged = -3,       /* truncated, or not what its format demands */
    kRKImageStatus_TooLarge = -4,      /* beyond the two limits above */
    kRKImageStatus_Unsupported = -5,   /* a variant of the format that the plug-in does not read */
    kRKImageStatus_OutOfMemory = -6,
    kRKImageStatus_Failed = -7 /* anything else */
};

/* How pixels lie in memory. Planes follow each other without gaps, and rows without padding. */
typedef int32_t RKImageLayout;
enum
{
    kRKImageLayout_None = 0,
    kRKImageLayout_BGRA8 = 1, /* one plane, 4 bytes a pixel, alpha not multiplied in */
    kRKImageLayout_YUV420P8 =
        2, /* Y, U, V; full range, BT.601; chroma halved both ways, rounded up */
    kRKImageLayout_YUV422P8 = 3 /* the same, chroma halved across only */
};

typedef struct RKImagePlane
{
    uint64_t mOffset;   /* bytes from the start of the block */
    uint32_t mRowBytes; /* bytes from one row to the next */
    uint32_t mRows;
} RKImagePlane;

typedef struct RKImageInfo
{
    uint32_t mWidth;
    uint32_t mHeight;
    RKImageLayout mLayout;
    uint32_t mPlaneCount;
    RKImagePlane mPlanes[RK_IMAGE_MAX_PLANES];
    uint64_t mByteCount; /* of all planes: the size of the block that CopyPixels fills */
    char mFormat[8];     /* "png", "jpeg", "tiff", "dpx" or "exr" */
} RKImageInfo;

typedef struct RKImageError
{
    char mText[240]; /* ends with a zero; empty after success */
} RKImageError;

typedef struct RKImage RKImage; /* a decoded image, the plug-in's own */

typedef struct RKImageBytes
{
    uint8_t* mData; /* the plug-in's own */
    uint64_t mSize;
} RKImageBytes;

typedef struct RKImageImporter
{
    uint32_t mABI;        /* RK_IMAGE_IMPORTER_ABI */
    const char* mName;    /* of the plug-in, with the version of what it decodes with */
    const char* mLicence; /* that its binary is under */

    /* Decodes a whole file of an image from memory; of several images in a file the first.
    ** outImage  given back to ReleaseImage.
    ** outError  may be null, here and below. */
    RKImageStatus (*DecodeImage)(const uint8_t* inData, uint64_t inSize, RKImage** outImage,
                                 RKImageInfo* outInfo, RKImageError* outError);

    /* Fills a block with the pixels, in the layout that DecodeImage told.
    ** inSize  exactly mByteCount. */
    RKImageStatus (*CopyPixels)(const RKImage* inImage, void* outBlock, uint64_t inSize,
                                RKImageError* outError);

    /* Null is allowed. */
    void (*ReleaseImage)(RKImage* inImage);

    /* Scales a block that CopyPixels filled into BGRA8 of another size.
    ** outPixels  inHeight rows of inWidth pixels, inRowBytes from one to the next. */
    RKImageStatus (*ScaleToBGRA)(const RKImageInfo* inInfo, const void* inBlock, uint8_t* outPixels,
                                 uint32_t inWidth, uint32_t inHeight, uint32_t inRowBytes,
                                 RKImageError* outError);

    /* Writes BGRA8 pixels as a PNG file in memory, 8-bit RGB: the alpha is left out.
    ** outBytes  given back to ReleaseBytes. */
    RKImageStatus (*EncodePNG)(const uint8_t* inPixels, uint32_t inWidth, uint32_t inHeight,
                               uint32_t inRowBytes, RKImageBytes* outBytes, RKImageError* outError);

    /* Clears the record; one that is clear already is allowed. */
    void (*ReleaseBytes)(RKImageBytes* ioBytes);
} RKImageImporter;

/* The one exported symbol.
** inABI   RK_IMAGE_IMPORTER_ABI as the host was compiled with.
** Result  a table that stays valid for ever; null if the plug-in does not speak that version. */
#define RK_IMAGE_IMPORTER_SYMBOL "RKGetImageImporter"
typedef const RKImageImporter* (*RKGetImageImporterFunction)(uint32_t inABI);

#ifdef __cplusplus
}
#endif
