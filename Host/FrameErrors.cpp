#include "FrameErrors.h"

#include <cstdint>

#include <RiverKit/RKErrorReport.h>

#include "Text.h"

namespace RKHost
{

void ClearFrameErrors()
{
    RK::ErrorReport::Get()->Clear();
}

void ReportFrameError(const std::string& inPath, int inFrame, const std::string& inImporter,
                      const std::string& inError)
{
    using namespace qelcore::literals;
    RK::ErrorPropertySet properties;
    properties["importer"_utf8] = ToLibraryText(inImporter);
    properties["inputFilePath"_utf8] = ToLibraryPath(inPath);
    properties["frameNumber"_utf8] = std::int64_t{inFrame};
    properties["exception"_utf8] = ToLibraryText(inError);
    RK::ErrorReport::Get()->Report(u"Frames failed"_utf16,
                                   u"Not every frame could be shown. The first that failed:"_utf16,
                                   properties);
}

std::string MergedFrameErrors()
{
    qelcore::UTF16String title;
    qelcore::UTF16String description;
    if (!RK::ErrorReport::Get()->Summarize(title, description))
        return std::string();
    RK::ErrorReport::Get()->Log();
    return FromLibraryText(title + u": " + description) + "\n";
}

} // namespace RKHost
