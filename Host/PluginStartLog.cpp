#include "PluginStartLog.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "PluginChild.h"
#include "Text.h"

namespace RKHost
{

namespace
{

PluginStartLog* sLog = nullptr; // which the host's procedure tells

bool HasProperty(MVPlugin* inPlugin, std::uint32_t inKey, PIProperty** outProperty = nullptr)
{
    MVPropertyList* list = nullptr;
    MVProperty* property = nullptr;
    PIProperty* record = nullptr;
    if (MVGetPluginPropertyList(inPlugin, &list) != kMVNoError || list == nullptr ||
        MVFindProperty(list, kMVVendorID, inKey, 0, &property) != kMVNoError || property == nullptr)
        return false;
    MVGetPropertyPIProperty(property, &record);
    if (outProperty)
        *outProperty = record;
    return true;
}

/// The data of a property that is that long at the least; null without it.
const unsigned char* DataOf(MVPlugin* inPlugin, std::uint32_t inKey, std::size_t inBytes)
{
    PIProperty* record = nullptr;
    if (!HasProperty(inPlugin, inKey, &record) || record == nullptr ||
        record->propertyLength < inBytes)
        return nullptr;
    return reinterpret_cast<const unsigned char*>(record + 1);
}

bool AnswersProperties(MVPlugin* inPlugin)
{
    const unsigned char* const data = DataOf(inPlugin, kMVProperty_Capabilities, 1);
    return data != nullptr && (data[0] & kMVCapability_AnswersProperties) != 0;
}

bool IsAdapter(MVPlugin* inPlugin)
{
    std::uint32_t version = 0;
    if (const unsigned char* const data = DataOf(inPlugin, kMVProperty_Adapter, sizeof version))
        std::memcpy(&version, data, sizeof version);
    return version == 2;
}

/// Why it has its place: adapters are started ahead of all, and of the passes that move plug-ins to the front the
/// last decides.
const char* ReasonFor(MVPlugin* inPlugin)
{
    if (IsAdapter(inPlugin))
        return "adapter ('adpt')";
    MVPluginEntry entry = nullptr;
    if (MVGetHostPluginEntry(inPlugin, &entry) == kMVNoError && entry != nullptr)
        return "host plug-in";
    if (HasProperty(inPlugin, kMVProperty_StartsEarly))
        return "starts early ('StsP')";
    if (HasProperty(inPlugin, kMVProperty_Exports))
        return "exports suites ('expt')";
    return AnswersProperties(inPlugin) ? "answers properties ('AcpM')" : "ordinary";
}

std::string NameOf(MVPlugin* inPlugin)
{
    if (inPlugin == nullptr)
        return "the host";
    MVWString name = nullptr;
    if (MVGetPluginName(inPlugin, &name) == kMVNoError && name != nullptr && name[0] != '\0')
        return Printable(name);
    MVPluginEntry entry = nullptr;
    if (MVGetHostPluginEntry(inPlugin, &entry) == kMVNoError && entry != nullptr)
        return "(without a name)";
    MVFileSpecification file = {};
    MVGetPluginFileSpecification(inPlugin, &file);
    const std::string path = file.path;
    return Printable(path.substr(path.rfind('/') + 1));
}

struct SuiteRow
{
    std::string mName;
    std::int32_t mVersion = 0;
    std::int32_t mInternalVersion = 0;
    std::int32_t mAcquired = 0;
    MVPlugin* mProvider = nullptr;

    auto Tied() const { return std::tie(mName, mVersion, mInternalVersion); }
    friend bool operator<(const SuiteRow& a, const SuiteRow& b) { return a.Tied() < b.Tied(); }
    std::string Text() const { return Printable(mName) + " " + std::to_string(mVersion); }
};

std::vector<SuiteRow> Suites()
{
    std::vector<SuiteRow> rows;
    MVSuiteListIterator* iterator = nullptr;
    if (MVNewSuiteListIterator(nullptr, &iterator) != kMVNoError)
        return rows;
    MVSuite* suite = nullptr;
    while (MVNextSuite(iterator, &suite) == kMVNoError && suite != nullptr)
    {
        SuiteRow row;
        MVWString name = nullptr;
        MVGetSuiteName(suite, &name);
        row.mName = name != nullptr ? name : "";
        MVGetSuiteAPIVersion(suite, &row.mVersion);
        MVGetSuiteInternalVersion(suite, &row.mInternalVersion);
        MVGetSuiteAcquireCount(suite, &row.mAcquired);
        MVGetSuiteHost(suite, &row.mProvider);
        const void* table = nullptr;
        if (MVGetSuiteProcs(suite, &table) == kMVNoError && table != nullptr)
            rows.push_back(row); // else its plug-in has yet to supply it
    }
    MVDeleteSuiteListIterator(iterator);
    std::sort(rows.begin(), rows.end());
    return rows;
}

} // namespace

PluginStartLog::PluginStartLog(const PluginReport& inReport)
    : mReport(inReport)
{
    sLog = this;
    if (MVGetRuntimeHostProcs(&mProcs) == kMVNoError && mProcs != nullptr)
    {
        mNotifyBefore = mProcs->startupNotify;
        mProcs->startupNotify = &OnNotify;
    }
    NoteSuites();
}

PluginStartLog::~PluginStartLog()
{
    if (mProcs != nullptr)
        mProcs->startupNotify = mNotifyBefore;
    sLog = nullptr;
}

void PluginStartLog::OnNotify(std::int32_t inEvent, void* inData, void*)
{
    if (sLog == nullptr)
        return;
    if (inEvent == kMVNotifyEvent_StartingPlugin)
        sLog->OnStarting(static_cast<MVPlugin*>(inData));
    else if (inEvent == kMVNotifyEvent_StartupNotDelivered)
        sLog->mHistories[sLog->mStarting].mUndelivered =
            static_cast<const MVStartupFailure*>(inData)->error;
}

void PluginStartLog::OnStarting(MVPlugin* inPlugin)
{
    SayAt(inPlugin);
    NoteSuites();
    mStarting = inPlugin;
    if (mHistories[inPlugin].mKnownSuites.empty())
        mStarted.push_back(inPlugin);
    mHistories[inPlugin].mKnownSuites.push_back(mSuites.size());
}

void PluginStartLog::SayAt(MVPlugin* inPlugin) const
{
    const auto file = mFiles.find(inPlugin);
    mReport.Say("at\t" + (file != mFiles.end() ? std::to_string(file->second) : "-"));
}

void PluginStartLog::NoteSuites()
{
    for (const SuiteRow& suite : Suites())
    {
        if (std::find(mSuites.begin(), mSuites.end(), suite.Text()) == mSuites.end())
            mSuites.push_back(suite.Text());
    }
}

std::vector<MVPlugin*> PluginStartLog::Plugins() const
{
    std::vector<MVPlugin*> plugins;
    MVPluginListIterator* iterator = nullptr;
    if (MVNewPluginListIterator(nullptr, &iterator) != kMVNoError)
        return plugins;
    MVPlugin* plugin = nullptr;
    while (MVNextPlugin(iterator, &plugin) == kMVNoError && plugin != nullptr)
        plugins.push_back(plugin);
    MVDeletePluginListIterator(iterator);
    return plugins;
}

/// As they were started: first those that had been before, in the end those that were not. Between these, the list's
/// order is that of the starts but for adapters, and for what is started when somebody asks for its suite.
std::vector<MVPlugin*> PluginStartLog::InOrder() const
{
    std::vector<MVPlugin*> before;
    std::vector<MVPlugin*> never;
    std::vector<MVPlugin*> order;
    const std::vector<MVPlugin*> all = Plugins();
    for (MVPlugin* const plugin : all)
    {
        std::int32_t started = 0;
        MVGetPluginStarted(plugin, &started);
        if (std::find(mStarted.begin(), mStarted.end(), plugin) == mStarted.end())
            (started != 0 ? before : never).push_back(plugin);
    }
    order = before;
    for (MVPlugin* const plugin : mStarted)
    {
        if (std::find(all.begin(), all.end(), plugin) != all.end())
            order.push_back(plugin);
    }
    order.insert(order.end(), never.begin(), never.end());
    return order;
}

void PluginStartLog::AddFile(const std::string& inPath)
{
    mReport.Say("at\t" + std::to_string(mFileCount));
    const std::vector<MVPlugin*> before = Plugins();
    std::int32_t added = 0;
    MVAddPluginFile(nullptr, inPath.c_str(), &added);
    for (MVPlugin* const plugin : Plugins())
    {
        if (std::find(before.begin(), before.end(), plugin) == before.end())
            mFiles[plugin] = mFileCount;
    }
    ++mFileCount;
}

void PluginStartLog::Start()
{
    mReport.Say("at\t-");
    mResult = MVStartupPlugins();
    mReport.Say("at\t-");
    NoteSuites();
}

/// What it answers a start with is kept nowhere, so one that is broken is asked once more.
std::string PluginStartLog::StateOf(MVPlugin* inPlugin, bool& outIsSick)
{
    std::int32_t started = 0;
    std::int32_t broken = 0;
    MVGetPluginStarted(inPlugin, &started);
    MVGetPluginBroken(inPlugin, &broken);
    const History& history = mHistories[inPlugin];
    outIsSick = broken != 0 || history.mUndelivered != kMVNoError || started == 0;
    if (history.mUndelivered != kMVNoError)
        return "not started, " + PluginCodeText(history.mUndelivered);
    if (broken != 0)
    {
        SayAt(inPlugin);
        MVResult answer = kMVNoError;
        const MVResult sent = MVSendMessage(inPlugin, kMVInterfaceCaller,
                                            kMVInterfaceStartupSelector, nullptr, &answer);
        return "broken, " + PluginCodeText(sent != kMVNoError ? sent : answer);
    }
    if (started == 0)
        return "waits for a suite, " + PluginCodeText(kMVSuiteNotFoundError);
    return AttemptsOf(history);
}

std::string PluginStartLog::AttemptsOf(const History& inHistory) const
{
    std::string text = "started";
    for (std::size_t attempt = 1; attempt < inHistory.mKnownSuites.size(); ++attempt)
    {
        text += attempt == 1 ? " again" : ", and again";
        std::size_t suite = inHistory.mKnownSuites[attempt - 1];
        for (const char* link = " after "; suite < inHistory.mKnownSuites[attempt]; link = ", ")
            text += link + mSuites[suite++];
        if (inHistory.mKnownSuites[attempt - 1] < inHistory.mKnownSuites[attempt])
            text += " appeared";
    }
    return text;
}

PluginStartLog::Row PluginStartLog::RowOf(MVPlugin* inPlugin)
{
    Row row = {inPlugin, std::string(), false};
    row.mState = StateOf(inPlugin, row.mIsSick);
    return row;
}

void PluginStartLog::TellRows(const std::vector<std::vector<std::string>>& inRows) const
{
    const std::string text = Columns(inRows);
    for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos;
         at = end + 1)
        mReport.Say("row\t" + text.substr(at, end - at));
}

void PluginStartLog::TellOrder()
{
    std::vector<std::vector<std::string>> rows = {{"", "PLUG-IN", "ITS PLACE", "STATE"}};
    for (MVPlugin* const plugin : InOrder())
    {
        const Row row = RowOf(plugin);
        const auto file = mFiles.find(plugin);
        if (row.mIsSick && file != mFiles.end())
            mReport.Say("sick\t" + std::to_string(file->second));
        rows.push_back(
            {std::to_string(rows.size()), NameOf(plugin), ReasonFor(plugin), row.mState});
    }
    TellRows(rows);
    if (mResult != kMVNoError)
        mReport.Say("row\tthe start-up ended with " + PluginCodeText(mResult));
}

void PluginStartLog::TellSuites()
{
    std::vector<std::vector<std::string>> rows = {
        {"SUITE", "VERSION", "INTERNAL", "PROVIDER", "ACQUIRED"}};
    for (const SuiteRow& suite : Suites())
        rows.push_back({Printable(suite.mName), std::to_string(suite.mVersion),
                        std::to_string(suite.mInternalVersion), NameOf(suite.mProvider),
                        std::to_string(suite.mAcquired)});
    TellRows(rows);
}

void PluginStartLog::Tell()
{
    TellOrder();
    mReport.Say("row\t");
    TellSuites();
    mReport.Say("at\t-");
}

} // namespace RKHost
