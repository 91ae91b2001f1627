#include "RKErrorReport.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include <boost/iterator/indirect_iterator.hpp>
#include <boost/make_shared.hpp>

#include "LoadOrder.h"
#include "ZOR/PathUtils.h"
#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/Localizer.h"
#include "qelcore/NumberText.h"
#include "qelcore/OnceRegion.h"
#include "qelcore/StackTrace.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

RK_RECORD_SET_UP("Src/ErrorReport");

namespace RK
{

namespace
{

using qelcore::UTF16String;
using qelcore::UTF8String;
using qelcore::threads::RecursiveMutex;
using qelcore::utility::AsciiToUTF16;
using qelcore::utility::UTF16to8;
using qelcore::utility::UTF16ToNarrow;

constinit std::atomic<std::int32_t> sEventCounter{0};

constinit const qelcore::debug::CachedDatabaseValue<bool> sDisable("ErrorReport.Disable", false);
constinit const qelcore::debug::CachedDatabaseValue<bool> sStackTrace("ErrorReport.StackTrace",
                                                                      false);

enum class PropertyKind
{
    kText = 1,
    kNumber = 2,
    kReal = 3,
    kSeconds = 4,
};

struct PropertySummary
{
    const char* mName;
    const char* mLiteral;
    PropertyKind mKind;
};

// In the order of the text. A row whose text begins without a line feed goes on with the line of the
// row before it.
constexpr PropertySummary sPropertySummaries[] = {
    {"exporter", "$$$/ErrorEvent/Exporter=\nWriting with exporter: ", PropertyKind::kText},
    {"outputFilePath", "$$$/ErrorEvent/OutputFilePath=\nWriting to file: ", PropertyKind::kText},
    {"outputFileType", "$$$/ErrorEvent/OutputFileType=\nWriting file type: ", PropertyKind::kText},
    {"timecode", "$$$/ErrorEvent/Timecode=\nAround timecode: ", PropertyKind::kText},
    {"renderPass", "$$$/ErrorEvent/RenderPass=\nOn render pass: ", PropertyKind::kNumber},
    {"renderPassMax", "$$$/ErrorEvent/NumPasses= of ", PropertyKind::kNumber},
    {"importer", "$$$/ErrorEvent/Importer=\nReading with importer: ", PropertyKind::kText},
    {"inputFilePath", "$$$/ErrorEvent/InputFilePath=\nReading from file: ", PropertyKind::kText},
    {"inputFileType", "$$$/ErrorEvent/InputFileType=\nReading file type: ", PropertyKind::kText},
    {"importOffsetSeconds",
     "$$$/ErrorEvent/InputOffsetS=\nReading media at offset: ", PropertyKind::kSeconds},
    {"effect", "$$$/ErrorEvent/Effect=\nRendering effect: ", PropertyKind::kText},
    {"effectOffsetSeconds",
     "$$$/ErrorEvent/RenderOffsetS=\nRendering at offset: ", PropertyKind::kSeconds},
    {"frameNumber", "$$$/ErrorEvent/FrameNumber=\nAt frame number: ", PropertyKind::kNumber},
    {"sampleNumber", "$$$/ErrorEvent/SampleNumber=\nAt sample number: ", PropertyKind::kNumber},
    {"componentName", "$$$/ErrorEvent/Component=\nComponent: ", PropertyKind::kText},
    {"componentType", "$$$/ErrorEvent/ComponentType= of type ", PropertyKind::kText},
    {"componentSelector", "$$$/ErrorEvent/Selector=\nSelector: ", PropertyKind::kNumber},
    {"exception", "$$$/ErrorEvent/Exception=\nException: ", PropertyKind::kText},
    {"errorCode", "$$$/ErrorEvent/ErrorCode=\nError code: ", PropertyKind::kNumber},
};

struct TheReport : ErrorReport
{
};

// Leaves out four frames: the reading of the stack, GenerateStackTrace, this function and its caller.
[[gnu::noinline]] UTF8String DescribeStackOfCallersCaller()
{
    const qelcore::debug::StackTrace trace = qelcore::debug::GenerateStackTrace(10, 4);
    return qelcore::debug::DelimitedStackTraceDescription(trace, "\n");
}

UTF16String IntegerText(std::int64_t inValue)
{
    char text[24];
    std::snprintf(text, sizeof text, "%lli", static_cast<long long>(inValue));
    return AsciiToUTF16(text);
}

UTF16String RealText(double inValue)
{
    using namespace qelcore::utility;
    return NumberToString(inValue, 1, 3, kNumberToString_None, 31);
}

// Text may come as a literal from whoever knows no more of it.
UTF16String LocalizedText(const UTF16String& inValue)
{
    if (inValue.compare(0, 4, u"$$$/") != 0)
        return inValue;
    return ErrorReport::Localize(UTF16ToNarrow(inValue));
}

/// @return false if the value is of another alternative than the kind demands.
bool ValueText(const ErrorPropertyValue& inValue, PropertyKind inKind, UTF16String& outText)
{
    const auto* const text = boost::get<UTF16String>(&inValue);
    const auto* const number = boost::get<std::int64_t>(&inValue);
    const auto* const real = boost::get<double>(&inValue);
    switch (inKind)
    {
    case PropertyKind::kText:
        outText = text ? LocalizedText(*text) : UTF16String();
        return text != nullptr;
    case PropertyKind::kNumber:
        outText = number ? IntegerText(*number) : UTF16String();
        return number != nullptr;
    case PropertyKind::kReal:
    case PropertyKind::kSeconds:
        outText = real ? RealText(*real) : UTF16String();
        if (real && inKind == PropertyKind::kSeconds)
            outText += ErrorReport::Localize("$$$/ErrorEvent/Seconds= seconds");
        return real != nullptr;
    }
    return false;
}

struct LogText
{
    using result_type = UTF16String;
    UTF16String operator()(std::int64_t inValue) const { return IntegerText(inValue); }
    UTF16String operator()(double inValue) const { return RealText(inValue); }
    UTF16String operator()(bool inValue) const { return inValue ? u"TRUE" : u"FALSE"; }
    UTF16String operator()(const UTF16String& inValue) const { return inValue; }
};

// A log may go to somebody who should not see where things lie.
UTF8String LoggedValue(const UTF8String& inKey, const ErrorPropertyValue& inValue)
{
    UTF16String text = boost::apply_visitor(LogText(), inValue);
    if (qelcore::ToNarrowString(inKey).find("FilePath") != std::string::npos)
    {
        const UTF16String file = ZOR::PathUtils::GetFullFilePart(text);
        if (!file.empty())
            text = file;
    }
    return UTF16to8(text);
}

ErrorPropertySet
MergedProperties(const std::vector<ErrorReport::ErrorEventRecordPtr>& inSortedEvents)
{
    ErrorPropertySet merged;
    for (const auto& event : inSortedEvents)
    {
        for (const auto& property : event->mProperties)
        {
            if (!property.first.empty())
                merged.insert(property); // only where the key is new
        }
    }
    return merged;
}

} // namespace

ErrorReport::ErrorEventRecord::ErrorEventRecord(const UTF16String& inTitle,
                                                const UTF16String& inDescription,
                                                const ErrorPropertySet& inProperties)
    : mEventNumber(++sEventCounter)
    , mTitle(inTitle)
    , mDescription(inDescription)
    , mProperties(inProperties)
{
}

ErrorReport::ErrorEventRecord::ErrorEventRecord(ErrorEventRecord&& ioOther) noexcept = default;
ErrorReport::ErrorEventRecord&
ErrorReport::ErrorEventRecord::operator=(ErrorEventRecord&& ioOther) noexcept = default;
ErrorReport::ErrorEventRecord::~ErrorEventRecord() = default;

boost::shared_ptr<ErrorReport> ErrorReport::Get()
{
    static constinit qelcore::threads::OnceFlag sOnce;
    static boost::shared_ptr<ErrorReport> sReport;
    qelcore::threads::OnceRegion region(sOnce);
    if (region.Entered())
    {
        sReport = boost::make_shared<TheReport>();
        region.Commit();
    }
    return sReport;
}

void ErrorReport::Disable()
{
    mEnabled.store(false, std::memory_order_relaxed);
}

void ErrorReport::Enable()
{
    mEnabled.store(true, std::memory_order_relaxed);
}

bool ErrorReport::IsEnabled() const
{
    return mEnabled.load(std::memory_order_relaxed) && !sDisable.Get();
}

void ErrorReport::Report(const UTF16String& inTitle, const UTF16String& inDescription,
                         const ErrorPropertySet& inProperties)
{
    if (!IsEnabled())
    {
        mDroppedCount.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    // Ahead of the lock: two threads may append in the order opposite to their numbers.
    const auto record = boost::make_shared<ErrorEventRecord>(inTitle, inDescription, inProperties);
    if (Add(record, nullptr))
        return;
    // Not under the lock: to look up names takes the loader's lock, which a thread that loads a module
    // holds, and the module's set-up may report.
    const UTF8String trace = DescribeStackOfCallersCaller();
    Add(record, &trace);
}

bool ErrorReport::Add(const ErrorEventRecordPtr& inRecord, const UTF8String* inTrace)
{
    RecursiveMutex::ScopedLock lock(mMutex);
    const bool isFirst = !mFirstEvent || *inRecord < *mFirstEvent;
    const bool wantsTrace = isFirst && sStackTrace.Get();
    if (wantsTrace && !inTrace)
        return false;
    mEvents.push_back(inRecord);
    if (isFirst)
        mFirstEvent = inRecord;
    if (wantsTrace)
        mStackTrace = *inTrace;
    mMergedEvent.reset();
    return true;
}

ErrorReport::ErrorEventRecordPtr ErrorReport::MergeReports()
{
    RecursiveMutex::ScopedLock lock(mMutex);
    if (mMergedEvent || mEvents.empty())
        return mMergedEvent;
    // Through the pointers: contents move, and the records stay where they are.
    std::sort(boost::make_indirect_iterator(mEvents.begin()),
              boost::make_indirect_iterator(mEvents.end()));
    const ErrorEventRecord& first = *mEvents.front();
    mMergedEvent = boost::make_shared<ErrorEventRecord>(first.mTitle, first.mDescription,
                                                        MergedProperties(mEvents));
    return mMergedEvent;
}

UTF16String ErrorReport::Localize(std::string_view inLiteral)
{
    using qelcore::config::Localizer;
    if (Localizer::Initialized())
        return Localizer::Get().GetText(inLiteral);
    const std::string_view text = inLiteral.substr(inLiteral.find('=') + 1); // all if there is none
    return AsciiToUTF16(text.data(), text.size());
}

bool ErrorReport::Summarize(UTF16String& outTitle, UTF16String& outDescription)
{
    outTitle.clear();
    outDescription.clear();
    const ErrorEventRecordPtr merged = MergeReports();
    if (!merged)
        return false;
    outTitle = merged->mTitle;
    outDescription = merged->mDescription + u"\n";
    for (const PropertySummary& row : sPropertySummaries)
    {
        UTF16String text;
        const auto property = merged->mProperties.find(qelcore::ToUTF8String(row.mName));
        if (property != merged->mProperties.end() && ValueText(property->second, row.mKind, text))
            outDescription += Localize(row.mLiteral) + text;
    }
    return true;
}

void ErrorReport::Log()
{
    const ErrorEventRecordPtr merged = MergeReports();
    if (!merged)
        return;
    UTF8String stackTrace;
    {
        RecursiveMutex::ScopedLock lock(mMutex);
        stackTrace = mStackTrace;
    }
    constexpr const char* kCategory = "RK::ErrorReport";
    RK_TRACE(kCategory, 1, "Summary:");
    RK_TRACE(kCategory, 1, " * " << "errorTitle" << "=" << merged->mTitle);
    RK_TRACE(kCategory, 1, " * " << "errorDescription" << "=" << merged->mDescription);
    if (!stackTrace.empty())
        RK_TRACE(kCategory, 1, " * " << "stackTrace" << "=" << stackTrace);
    for (const auto& [key, value] : merged->mProperties)
        RK_TRACE(kCategory, 1, " * " << key << "=" << LoggedValue(key, value));
}

void ErrorReport::Clear()
{
    std::vector<ErrorEventRecordPtr> dropped; // freed after the lock
    RecursiveMutex::ScopedLock lock(mMutex);
    dropped.swap(mEvents);
    mMergedEvent.reset();
    mFirstEvent.reset();
    mStackTrace.clear();
    mDroppedCount.store(0, std::memory_order_relaxed);
}

bool ErrorReport::Empty() const
{
    RecursiveMutex::ScopedLock lock(mMutex);
    return mEvents.empty();
}

std::uint64_t ErrorReport::DroppedCount() const
{
    return mDroppedCount.load(std::memory_order_relaxed);
}

} // namespace RK
