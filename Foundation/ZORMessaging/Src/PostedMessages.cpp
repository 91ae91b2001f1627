// What waits to be told on the main thread.
#include "PostedMessages.h"

#include <algorithm>
#include <deque>

#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"
#include "qelcore/RecursiveMutex.h"

namespace ZOR
{

using qelcore::threads::RecursiveMutex;

namespace
{

struct Posted
{
    std::uint64_t ticket;
    StationID station;
    MessageID messageID;
    boost::function<void()> tell;
};

// Never destroyed: a job of the main thread's executor may come at exit.
class PostedMessages
{
public:
    static PostedMessages& Instance()
    {
        static PostedMessages* const sInstance = new PostedMessages;
        return *sInstance;
    }

    bool Post(const StationID& inID, const Message& inMessage, bool inOnlyOnce)
    {
        Posted posted{0, inID, inMessage.GetMessageID(), inMessage.CreateCallback(inID)};
        std::uint64_t ticket = 0;
        {
            RecursiveMutex::ScopedLock lock(mMutex, "ZOR::StationUtils::PostMessageToUIThread");
            if (inOnlyOnce && IsWaiting(posted))
                return true;
            ticket = posted.ticket = ++mLastTicket;
            mWaiting.push_back(std::move(posted));
        }
        // One job a message: a flush before the job leaves it nothing to do.
        if (qelcore::threads::AsyncCallFromMainThread([this] { TellOne(); }, 0))
            return true;
        Withdraw(ticket); // a stopped main thread takes nothing new
        return false;
    }

    void Flush()
    {
        std::size_t count = 0;
        {
            RecursiveMutex::ScopedLock lock(mMutex, "ZOR::FlushPostedMessagesOnUIThread");
            count = mWaiting.size();
        }
        while (count-- > 0 && TellOne())
        {
        }
    }

    void Drop()
    {
        std::deque<Posted> gone; // messages end after the lock
        RecursiveMutex::ScopedLock lock(mMutex, "ZOR::Messaging::Terminate");
        gone.swap(mWaiting);
    }

private:
    /// @return false if none waits.
    bool TellOne()
    {
        Posted first;
        {
            RecursiveMutex::ScopedLock lock(mMutex, "ZOR::PostedMessages::TellOne");
            if (mWaiting.empty())
                return false;
            first = std::move(mWaiting.front());
            mWaiting.pop_front();
        }
        first.tell();
        return true;
    }

    void Withdraw(std::uint64_t inTicket)
    {
        RecursiveMutex::ScopedLock lock(mMutex, "ZOR::PostedMessages::Withdraw");
        const auto found =
            std::find_if(mWaiting.begin(), mWaiting.end(),
                         [&](const Posted& inPosted) { return inPosted.ticket == inTicket; });
        if (found != mWaiting.end())
            mWaiting.erase(found);
    }

    bool IsWaiting(const Posted& inPosted) const RK_REQUIRES(mMutex)
    {
        return std::any_of(mWaiting.begin(), mWaiting.end(),
                           [&](const Posted& inOther)
                           {
                               return inOther.station == inPosted.station &&
                                      inOther.messageID == inPosted.messageID;
                           });
    }

    RecursiveMutex mMutex; // a leaf
    std::uint64_t mLastTicket RK_GUARDED_BY(mMutex) = 0;
    std::deque<Posted> mWaiting RK_GUARDED_BY(mMutex);
};

} // namespace

void Details::DropPostedMessages()
{
    PostedMessages::Instance().Drop();
}

bool StationUtils::PostMessageToUIThread(const StationID& inID, const Message& inMessage,
                                         bool inOnlyOnce)
{
    return PostedMessages::Instance().Post(inID, inMessage, inOnlyOnce);
}

void StationUtils::FlushPostedMessagesOnUIThread()
{
    if (qelcore::threads::IsMainThread())
        PostedMessages::Instance().Flush();
}

} // namespace ZOR
