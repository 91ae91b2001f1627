#pragma once

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RiverKit/RKErrorReport.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/Localizer.h"
#include "qelcore/TextConversion.h"

namespace Testing
{

inline qelcore::UTF16String Wide(const std::string& inText)
{
    return qelcore::utility::NarrowToUTF16(inText);
}
inline std::string Narrow(const qelcore::UTF16String& inText)
{
    return qelcore::utility::UTF16ToNarrow(inText);
}

/// What an application would report, with the texts that a test writes down plainly.
class Properties
{
public:
    Properties& Text(const std::string& inKey, const std::string& inValue)
    {
        return Set(inKey, Wide(inValue));
    }
    Properties& Number(const std::string& inKey, std::int64_t inValue)
    {
        return Set(inKey, inValue);
    }
    Properties& Real(const std::string& inKey, double inValue) { return Set(inKey, inValue); }
    Properties& Flag(const std::string& inKey, bool inValue) { return Set(inKey, inValue); }
    operator const RK::ErrorPropertySet&() const { return mSet; }

private:
    Properties& Set(const std::string& inKey, const RK::ErrorPropertyValue& inValue)
    {
        mSet[qelcore::ToUTF8String(inKey)] = inValue;
        return *this;
    }
    RK::ErrorPropertySet mSet;
};

/// Begins and ends with an empty, enabled report, and without settings or string tables.
class ErrorReportFixture : public ::testing::Test
{
protected:
    const boost::shared_ptr<RK::ErrorReport> mReport = RK::ErrorReport::Get();

    ErrorReportFixture() { mReport->Clear(); }
    ~ErrorReportFixture() override
    {
        for (const char* const key : {"ErrorReport.Disable", "ErrorReport.StackTrace"})
            qelcore::debug::DebugDatabase::Instance().RemoveEntry(key);
        qelcore::config::Localizer::Get().Clear();
        mReport->Enable();
        mReport->Clear();
    }
    static void Setting(const char* inKey, const char* inValue)
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry(inKey, inValue);
    }
    void Report(const std::string& inTitle, const std::string& inDescription,
                const RK::ErrorPropertySet& inProperties = {})
    {
        mReport->Report(Wide(inTitle), Wide(inDescription), inProperties);
    }
    std::string Summary()
    {
        qelcore::UTF16String title;
        qelcore::UTF16String description;
        EXPECT_TRUE(mReport->Summarize(title, description));
        return Narrow(description);
    }
};

} // namespace Testing
