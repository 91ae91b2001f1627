#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include <boost/shared_ptr.hpp>
#include <boost/variant.hpp>

#include "qelcore/Export.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/ThreadAnnotations.h"
#include "qelcore/UTFString.h"

// Gathers the errors of one operation, from whatever thread and layer they surface in, and turns them
// into one message:
//
//     using namespace qelcore::literals;
//     const auto report = RK::ErrorReport::Get();
//     report->Clear();
//     ... // anywhere, any number of times:
//     RK::ErrorPropertySet properties;
//     properties["inputFilePath"_utf8] = path;
//     properties["frameNumber"_utf8] = std::int64_t{17};
//     report->Report(u"Import failed"_utf16, u"A frame could not be read."_utf16, properties);
//     ... // at the end:
//     if (report->Summarize(title, description))
//         Show(title, description);
//
// The earliest event gives title and description; of the properties of all events the earliest with a
// key gives its value. The log shows them all. The summary shows, in this order, those of the names and
// alternatives
//   exporter, outputFilePath, outputFileType, timecode: text; renderPass, renderPassMax: integers;
//   importer, inputFilePath, inputFileType: text; importOffsetSeconds: double; effect: text;
//   effectOffsetSeconds: double; frameNumber, sampleNumber: integers; componentName, componentType: text;
//   componentSelector: integer; exception: text; errorCode: integer.
// A text that begins with "$$$/" is shown as ErrorReport::Localize gives it.
namespace RK
{

/// Mind the alternative: an int or a pointer would be taken for one that was not meant.
using ErrorPropertyValue = boost::variant<std::int64_t, double, bool, qelcore::UTF16String>;

/// Ordered by the bytes of the key.
using ErrorPropertySet = std::map<qelcore::UTF8String, ErrorPropertyValue>;

// Threads   Any function from any thread.
// Memory    Every event is kept until Clear(): who reports without end must clear at times.
// Settings  Of the debug database, both false at first, in effect at once:
//             ErrorReport.Disable     drops every event
//             ErrorReport.StackTrace  the first event of a report notes where it was reported
// Errors    Nothing is raised but std::bad_alloc.
class RK_API ErrorReport
{
public:
    // One error, or what a merge made of several.
    class RK_API ErrorEventRecord
    {
    public:
        /// Takes the next number of the process, from 1. The count wraps to negative numbers after
        /// 2^31 - 1.
        ErrorEventRecord(const qelcore::UTF16String& inTitle,
                         const qelcore::UTF16String& inDescription,
                         const ErrorPropertySet& inProperties);
        /// Moves take the number over.
        ErrorEventRecord(ErrorEventRecord&& ioOther) noexcept;
        ErrorEventRecord& operator=(ErrorEventRecord&& ioOther) noexcept;
        ~ErrorEventRecord();

        bool operator<(const ErrorEventRecord& inOther) const
        {
            return mEventNumber < inOther.mEventNumber;
        }

        std::int64_t mEventNumber;
        qelcore::UTF16String mTitle;
        qelcore::UTF16String mDescription;
        ErrorPropertySet mProperties;
    };
    using ErrorEventRecordPtr = boost::shared_ptr<ErrorEventRecord>;

    /// The process's report. It lives until the process ends, longer where its pointer is kept.
    static boost::shared_ptr<ErrorReport> Get();

    void Disable();
    void Enable();
    /// Whether events are taken: enabled, and not disabled by the setting.
    bool IsEnabled() const;

    /// Notes an event, or counts it as dropped.
    void Report(const qelcore::UTF16String& inTitle, const qelcore::UTF16String& inDescription,
                const ErrorPropertySet& inProperties);

    /// All events in one, in the order of their numbers. The same record until the next Report or
    /// Clear; it must not be changed.
    /// @return null if there are no events.
    ErrorEventRecordPtr MergeReports();

    /// The merged event as text for the user.
    /// @return false, with both texts empty, if there are no events.
    bool Summarize(qelcore::UTF16String& outTitle, qelcore::UTF16String& outDescription);

    /// The text of a literal, "$$$/key=default text": the localizer's where a string table is loaded,
    /// otherwise what stands behind the first "=", or all of it if there is none. That way is for
    /// ASCII: each byte becomes a unit of the same value.
    static qelcore::UTF16String Localize(std::string_view inLiteral);

    /// Traces the merged event, a line for each item, in the category "RK::ErrorReport" at level 1.
    /// Of paths, which are the values of keys with "FilePath" in them, only the file's name is shown.
    void Log();

    /// Begins a new report: forgets events, the merge, the stack trace and the count of dropped events.
    void Clear();

    /// Whether there are no events.
    bool Empty() const;

    /// Events that came while the report was disabled, since the last Clear().
    std::uint64_t DroppedCount() const;

protected:
    ErrorReport() = default;
    ~ErrorReport() = default;

    /// @param inTrace  null if none was taken.
    /// @return false, and nothing was done, if this event needs one.
    bool Add(const ErrorEventRecordPtr& inRecord, const qelcore::UTF8String* inTrace);

    mutable qelcore::threads::RecursiveMutex mMutex;
    std::vector<ErrorEventRecordPtr> mEvents RK_GUARDED_BY(mMutex); // as they came, until a merge
    ErrorEventRecordPtr mMergedEvent RK_GUARDED_BY(mMutex);         // null when stale
    // That with the lowest number when it came. A merge moves contents among the records.
    ErrorEventRecordPtr mFirstEvent RK_GUARDED_BY(mMutex);
    qelcore::UTF8String mStackTrace RK_GUARDED_BY(mMutex);
    std::atomic<bool> mEnabled{true};
    std::atomic<std::uint64_t> mDroppedCount{0};
};

} // namespace RK
