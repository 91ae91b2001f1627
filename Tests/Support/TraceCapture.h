#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "qelcore/DebugDatabase.h"
#include "qelcore/Trace.h"

namespace Testing
{

/// Gathers the trace lines of one category for its life, in place of the sink before. One at a
/// time; lines may come from any thread.
class TraceCapture
{
public:
    explicit TraceCapture(const std::string& inCategory, int inLevel = 0)
        : mCategory(inCategory)
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry("Trace." + mCategory,
                                                           std::to_string(inLevel));
        qelcore::debug::SetTraceSink([this](const std::string& inLine) { Take(inLine); });
    }
    ~TraceCapture()
    {
        qelcore::debug::SetTraceSink(qelcore::debug::TraceSink());
        qelcore::debug::DebugDatabase::Instance().RemoveEntry("Trace." + mCategory);
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    /// The lines as they were traced, "<thread> <category> <level> text\n".
    std::vector<std::string> Lines() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mLines;
    }
    /// The texts alone, without what stands before them and without the line end.
    std::vector<std::string> Texts() const
    {
        std::vector<std::string> texts;
        for (const std::string& line : Lines())
        {
            const std::size_t level = line.find("> <" + mCategory + "> <") + mCategory.size() + 6;
            const std::size_t text = line.find("> ", level) + 2;
            texts.push_back(line.substr(text, line.size() - text - 1));
        }
        return texts;
    }
    std::size_t Count(const std::string& inText) const
    {
        const std::vector<std::string> texts = Texts();
        return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), inText));
    }
    void Clear()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLines.clear();
    }

private:
    void Take(const std::string& inLine)
    {
        const std::size_t category = inLine.find("> <") + 3;
        if (inLine.compare(category, mCategory.size() + 1, mCategory + ">") != 0)
            return;
        const std::lock_guard<std::mutex> lock(mMutex);
        mLines.push_back(inLine);
    }

    const std::string mCategory;
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
};

} // namespace Testing
