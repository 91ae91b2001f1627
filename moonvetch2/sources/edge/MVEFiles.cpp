#include "MVEFiles.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "../MVHost.h"
#include "../MVThread.h"
#include "Platform/ProgramName.h"

/// The path follows the record, with its NUL.
struct MVURL
{
    std::int32_t count;
};

namespace
{

constexpr char kFileScheme[] = "file://";

char* pathOf(MVURL* inURL)
{
    return reinterpret_cast<char*>(inURL + 1);
}

// Without the slashes at its end, which say nothing of the place.
MVURL* newURL(const char* inPath, std::size_t inLength)
{
    while (inLength > 1 && inPath[inLength - 1] == '/')
        --inLength;
    auto* const url = static_cast<MVURL*>(std::malloc(sizeof(MVURL) + inLength + 1));
    if (url == nullptr)
        return nullptr;
    url->count = 1;
    std::memcpy(pathOf(url), inPath, inLength);
    pathOf(url)[inLength] = '\0';
    return url;
}

char lowered(char inCharacter)
{
    return inCharacter >= 'A' && inCharacter <= 'Z' ? static_cast<char>(inCharacter + 32)
                                                    : inCharacter;
}

// Letters alike but for their case. The first is in lower case.
bool startsWith(const char* inStart, const char* inText)
{
    while (*inStart != '\0' && *inStart == lowered(*inText))
        ++inStart, ++inText;
    return *inStart == '\0';
}

int digitOf(char inDigit)
{
    const char digit = lowered(inDigit);
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

// What stands behind the host of a URL. False where a percent sign is not followed by two digits, or stands for
// NUL, which no path has.
bool decodePath(const char* inText, std::string& outPath)
{
    for (; *inText != '\0' && *inText != '?' && *inText != '#'; ++inText)
    {
        if (*inText != '%')
        {
            outPath += *inText;
            continue;
        }
        const int high = digitOf(inText[1]);
        const int low = high < 0 ? -1 : digitOf(inText[2]);
        if (low < 0 || (high == 0 && low == 0))
            return false;
        outPath += static_cast<char>(high * 16 + low);
        inText += 2;
    }
    return true;
}

MVURL* newURLOfText(const char* inText)
{
    constexpr std::size_t schemeLength = sizeof kFileScheme - 1;
    constexpr char thisHost[] = "localhost/";
    const char* place = inText + schemeLength;
    if (startsWith(thisHost, place))
        place += sizeof thisHost - 2; // its slash begins the path
    std::string path;
    if (*place != '/' || !decodePath(place, path))
        return nullptr;
    return newURL(path.data(), path.size());
}

} // namespace

extern "C"
{
MVURL* MVCreateURL(const char* text)
{
    if (text == nullptr)
        return nullptr;
    try
    {
        if (startsWith(kFileScheme, text))
            return newURLOfText(text);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
    return *text == '/' ? newURL(text, std::strlen(text)) : nullptr;
}

void MVRetainURL(MVURL* url)
{
    MV_ONE_THREAD();
    if (url != nullptr)
        ++url->count;
}

void MVReleaseURL(MVURL* url)
{
    MV_ONE_THREAD();
    if (url != nullptr && --url->count == 0)
        std::free(url);
}

const char* MVGetURLPath(const MVURL* url)
{
    return url == nullptr ? nullptr : reinterpret_cast<const char*>(url + 1);
}

MVResult MVSetHostBundleRef(MVURL* bundle)
{
    MV_ONE_THREAD();
    MVRetainURL(bundle);
    MVReleaseURL(gMVHostBundle);
    gMVHostBundle = bundle;
    return kMVNoError;
}

MVResult MVGetPluginSpecificationName(MVURL* url, char* buffer, size_t size)
{
    if (buffer == nullptr || size == 0)
        return kMVBadParameterError;
    *buffer = '\0';
    const char* const path = MVGetURLPath(url);
    if (path == nullptr)
        return kMVPathError;
    const char* const slash = std::strrchr(path, '/');
    mvEdgeCopyText(slash[1] == '\0' ? slash : slash + 1, buffer, size);
    return kMVNoError;
}

} // extern "C"

bool mvEdgeIsSameURL(const MVURL* inLeft, const MVURL* inRight)
{
    return inLeft != nullptr && inRight != nullptr &&
           std::strcmp(MVGetURLPath(inLeft), MVGetURLPath(inRight)) == 0;
}

MVURL* mvEdgeCopyMainBundleURL()
{
    try
    {
        const std::string path = Platform::ProgramPath();
        return path.empty() ? nullptr : newURL(path.data(), path.size());
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

MVResult mvEdgeFillFileSpecification(const MVURL* inURL, MVFileSpecification* outFile)
{
    static_assert(sizeof(MVFileSpecification) == 380);
    std::memset(outFile, 0, sizeof *outFile);
    const char* const path = MVGetURLPath(inURL);
    if (path == nullptr)
        return kMVPathError;
    mvEdgeCopyText(path, outFile->path, sizeof outFile->path);
    return kMVNoError;
}

void mvEdgeCopyText(const char* inText, char* outBuffer, std::size_t inSize) noexcept
{
    const std::size_t length = std::strlen(inText);
    std::size_t kept = length < inSize ? length : inSize - 1;
    if (kept < length)
    {
        // No character has more than three bytes of continuation; what has more is no UTF-8.
        for (std::size_t back = 0; back < 3 && kept > 0 && (inText[kept] & 0xC0) == 0x80; ++back)
            --kept;
    }
    std::memcpy(outBuffer, inText, kept);
    outBuffer[kept] = '\0';
}
