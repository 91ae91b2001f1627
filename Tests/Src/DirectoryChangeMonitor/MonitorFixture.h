#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DirectoryChangeMonitor.h"
#include "Support/FakeClock.h"
#include "Support/FakeEventQueue.h"
#include "Support/FakeFolderEvents.h"
#include "Support/FakeVolumeTable.h"
#include "Support/TraceCapture.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace RKTests
{

/// Writes down what is told on the station of directory changes: "changed /a", "volumes", "poll /a".
class MessageRecorder : public ZOR::Listener
{
public:
    MessageRecorder() { ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, this); }
    ~MessageRecorder() override
    {
        ZOR::StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, this);
    }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        using namespace RK;
        using qelcore::utility::UTF16ToFileName;
        const ZOR::MessageID id = inMessage.GetMessageID();
        if (id == DirectoryChangedMessage::GetClassMessageID())
            mTold.push_back(
                "changed " +
                UTF16ToFileName(static_cast<const DirectoryChangedMessage&>(inMessage).mPath));
        else if (id == DirectoryPollingMessage::GetClassMessageID())
            mTold.push_back(
                "poll " +
                UTF16ToFileName(static_cast<const DirectoryPollingMessage&>(inMessage).mPath));
        else if (id == VolumeChangedMessage::GetClassMessageID())
            mTold.push_back("volumes");
    }

    std::vector<std::string> mTold;
};

class DirectoryChangeMonitorTest : public testing::Test
{
protected:
    DirectoryChangeMonitorTest()
    {
        qelcore::threads::RegisterMainThread();
        ZOR::Messaging::Initialize();
        RK::DirectoryChangeMonitor::Initialize();
    }
    ~DirectoryChangeMonitorTest() override
    {
        RK::DirectoryChangeMonitor::Terminate();
        ZOR::Messaging::Terminate();
    }

    /// What was told on the main thread up to now, since the last call.
    std::vector<std::string> Told()
    {
        qelcore::threads::RunMainThreadUntilIdle();
        return std::exchange(mRecorder->mTold, {});
    }
    void Advance(std::uint64_t inMilliseconds)
    {
        mClock.AdvanceMilliseconds(inMilliseconds);
        qelcore::threads::RunMainThreadUntilIdle();
    }

    Testing::FakeClock mClock;
    Testing::FakeVolumeTable mVolumes;
    Testing::FakeEventQueue mQueue;
    Testing::FakeFolderEvents mFolders;

private:
    struct Started
    {
        Started() { ZOR::Messaging::Initialize(); }
        ~Started() { ZOR::Messaging::Terminate(); }
    };
    const Started mStarted; // the recorder needs the station
    const std::unique_ptr<MessageRecorder> mRecorder = std::make_unique<MessageRecorder>();
};

} // namespace RKTests
