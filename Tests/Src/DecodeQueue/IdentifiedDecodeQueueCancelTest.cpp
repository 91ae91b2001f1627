// Cancels by Guid.
#include "IdentifiedDecodeQueueFixture.h"

using namespace Testing;

namespace
{

using IdentifiedDecodeQueueCancel = IdentifiedDecodeQueueFixture;

TEST_F(IdentifiedDecodeQueueCancel, OneByOneTheNewestDuplicateGoesFirstAndThePrimaryLast)
{
    const auto queue = CreateIdentified(8, 8);
    const auto primary = For(kA, "primary");
    primary->cancelDuringIOResult = 31;
    const auto older = For(kA, "older");
    older->cancelQueuedResult = 32;
    const auto newer = For(kA, "newer");
    newer->cancelQueuedResult = -33;
    for (const auto& request : {primary, older, newer})
        queue->QueueIdentifiedRequest(request);
    TakeLog();
    EXPECT_EQ(-33, queue->TryToCancelOneIdentifiedRequest(kA));
    EXPECT_EQ((Log{"newer: cancel queued"}), TakeLog());
    EXPECT_EQ(32, queue->TryToCancelOneIdentifiedRequest(kA));
    EXPECT_EQ((Log{"older: cancel queued"}), TakeLog());
    EXPECT_EQ(31, queue->TryToCancelOneIdentifiedRequest(kA));
    EXPECT_EQ((Log{"primary: cancel during IO"}), TakeLog());
    EXPECT_EQ(0, queue->TryToCancelOneIdentifiedRequest(kA));
    EXPECT_EQ(Log(), TakeLog());
}

TEST_F(IdentifiedDecodeQueueCancel, AnUnknownGuidIsNoError)
{
    const auto queue = CreateIdentified(8, 8);
    queue->QueueIdentifiedRequest(For(kA, "a"));
    TakeLog();
    EXPECT_EQ(0, queue->TryToCancelOneIdentifiedRequest(kB));
    EXPECT_EQ(0, queue->TryToCancelAllIdentifiedRequests(kB));
    EXPECT_EQ(Log(), mLog);
}

TEST_F(IdentifiedDecodeQueueCancel, OnePrimaryIsCancelledInWhicheverPlaceItIs)
{
    const auto queue = CreateIdentified(1, 8);
    const auto charge = ChargeIO(queue);
    queue->QueueIdentifiedRequest(For(kA, "pending IO"));
    EXPECT_EQ(0, queue->TryToCancelOneIdentifiedRequest(kA));
    EXPECT_EQ((Log{"pending IO: cancel queued"}), TakeLog());

    queue->QueueIdentifiedRequest(WithoutIO(For(kB, "pending CPU")));
    mShared.RunQueued();
    TakeLog();
    EXPECT_EQ(0, queue->TryToCancelOneIdentifiedRequest(kB));
    EXPECT_EQ((Log{"pending CPU: cancel queued"}), TakeLog());

    const auto running = WithoutIO(For(kC, "running"));
    running->cancelDuringCPUResult = -8;
    running->onProcess = [&] { EXPECT_EQ(-8, queue->TryToCancelOneIdentifiedRequest(kC)); };
    queue->QueueIdentifiedRequest(running);
    RunAll();
    EXPECT_EQ((Log{"running: initiate", "running: process", "running: cancel during CPU"}),
              TakeLog());
}

TEST_F(IdentifiedDecodeQueueCancel, ACancelledDuplicateIsNotCompleted)
{
    const auto queue = CreateIdentified(8, 8);
    queue->QueueIdentifiedRequest(WithoutIO(For(kA, "primary")));
    queue->QueueIdentifiedRequest(For(kA, "kept"));
    queue->QueueIdentifiedRequest(For(kA, "cancelled"));
    queue->TryToCancelOneIdentifiedRequest(kA);
    TakeLog();
    RunAll();
    EXPECT_EQ((Log{"primary: process", "kept: completed by primary with 0"}), mLog);
}

TEST_F(IdentifiedDecodeQueueCancel, AllOfAGuidTakesTheDuplicatesInOrderAndThenThePrimary)
{
    const auto queue = CreateIdentified(8, 8);
    const auto charge = ChargeIO(queue);
    for (const char* const name : {"primary", "second", "third"})
        queue->QueueIdentifiedRequest(For(kA, name));
    queue->QueueIdentifiedRequest(For(kB, "other"));
    EXPECT_EQ(0, queue->TryToCancelAllIdentifiedRequests(kA));
    EXPECT_EQ((Log{"second: cancel queued", "third: cancel queued", "primary: cancel queued"}),
              mLog);
    EXPECT_EQ((ItemCount{1, 1, 0, 0}), CountItems(*queue));
}

TEST_F(IdentifiedDecodeQueueCancel, AllOfAGuidIsIncompleteIfAnyOfThemFailsAndStillAsksEach)
{
    const auto queue = CreateIdentified(8, 8);
    const auto charge = ChargeIO(queue);
    for (const std::string failing : {"primary", "second", "third"})
    {
        for (const std::string name : {"primary", "second", "third"})
        {
            const auto request = For(kA, name);
            request->cancelQueuedResult = name == failing ? -1 : 1;
            queue->QueueIdentifiedRequest(request);
        }
        EXPECT_EQ(RK::kDecodeErrorCancelIncomplete, queue->TryToCancelAllIdentifiedRequests(kA));
        EXPECT_EQ(3u, TakeLog().size()) << failing;
    }
}

TEST_F(IdentifiedDecodeQueueCancel, AllQueuedOfAnEmptyQueueIsZero)
{
    const auto queue = CreateIdentified(8, 8);
    EXPECT_EQ(0, queue->TryToCancelAllQueuedIdentifiedRequests());
}

TEST_F(IdentifiedDecodeQueueCancel, AllQueuedIsIncompleteWhenEachCancelSucceeds)
{
    const auto queue = CreateIdentified(8, 8);
    const auto charge = ChargeIO(queue);
    queue->QueueIdentifiedRequest(For(kA, "a"));
    queue->QueueIdentifiedRequest(For(kA, "a2"));
    queue->QueueIdentifiedRequest(For(kB, "b"));
    EXPECT_EQ(RK::kDecodeErrorCancelIncomplete, queue->TryToCancelAllQueuedIdentifiedRequests());
    // In the order of the Guids.
    EXPECT_EQ((Log{"a2: cancel queued", "a: cancel queued", "b: cancel queued",
                   "charge: cancel during IO"}),
              mLog);
    EXPECT_EQ(0, queue->TryToCancelAllQueuedIdentifiedRequests());
}

TEST_F(IdentifiedDecodeQueueCancel, AllQueuedIsZeroOnlyWhenEachGuidFails)
{
    const auto queue = CreateIdentified(8, 8);
    const auto a = For(kA, "a");
    a->cancelDuringIOResult = -1;
    const auto b = For(kB, "b");
    b->cancelQueuedResult = -1;
    queue->QueueIdentifiedRequest(a);
    queue->QueueIdentifiedRequest(b);
    EXPECT_EQ(0, queue->TryToCancelAllQueuedIdentifiedRequests());
}

TEST_F(IdentifiedDecodeQueueCancel, AllQueuedIsIncompleteAsSoonAsOneGuidSucceedsFirstOrLast)
{
    for (const Guid& succeeding : {kA, kB})
    {
        const auto queue = CreateIdentified(8, 8);
        const auto charge = ChargeIO(queue);
        charge->cancelDuringIOResult = -1;
        for (const Guid& guid : {kA, kB})
        {
            const auto request = For(guid, "request");
            request->cancelQueuedResult = guid == succeeding ? 0 : -1;
            queue->QueueIdentifiedRequest(request);
        }
        EXPECT_EQ(RK::kDecodeErrorCancelIncomplete,
                  queue->TryToCancelAllQueuedIdentifiedRequests());
    }
}

// The old request and the new one are told apart by nothing but their places in the stages.
TEST_F(IdentifiedDecodeQueueCancel, AnOldRequestThatEndsCompletesTheDuplicatesOfTheNewPrimary)
{
    const auto queue = CreateIdentified(8, 8);
    const auto old = For(kA, "old");
    queue->QueueIdentifiedRequest(old);
    queue->TryToCancelOneIdentifiedRequest(kA);

    const auto primary = For(kA, "new");
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(primary)); // the old one's I/O is still charged
    const auto duplicate = For(kA, "duplicate");
    queue->QueueIdentifiedRequest(duplicate);
    mShared.RunQueued();
    EXPECT_EQ((Log{"old: initiate", "old: cancel during IO", "new: initiate"}), TakeLog());

    old->Complete(0);
    RunAll();
    EXPECT_EQ((Log{"duplicate: completed by old with " +
                   std::to_string(RK::kDecodeErrorRequestCancelled)}),
              TakeLog());
    EXPECT_EQ((ItemCount{0, 1, 0, 0}), CountItems(*queue));

    // The Guid was freed: one more primary, while the second goes on.
    const auto third = For(kA, "third");
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(third));
    mShared.RunQueued();
    EXPECT_EQ((ItemCount{0, 2, 0, 0}), CountItems(*queue));
    primary->Complete(0);
    RunAll();
    EXPECT_EQ((Log{"third: initiate", "new: process"}), mLog);
}

TEST_F(IdentifiedDecodeQueueCancel, AnOldRequestsOwnFailureIsWhatTheNewDuplicatesHear)
{
    const auto queue = CreateIdentified(8, 8);
    const auto old = For(kA, "old");
    queue->QueueIdentifiedRequest(old);
    queue->TryToCancelAllIdentifiedRequests(kA);
    queue->QueueIdentifiedRequest(For(kA, "new"));
    queue->QueueIdentifiedRequest(For(kA, "duplicate"));
    mShared.RunQueued();
    TakeLog();
    old->Complete(-6);
    RunAll();
    EXPECT_EQ((Log{"duplicate: completed by old with -6"}), mLog);
}

TEST_F(IdentifiedDecodeQueueCancel, ADuplicateThatIsCancelledMayQueueItsGuidAgain)
{
    const auto queue = CreateIdentified(8, 8);
    const auto primary = For(kA, "primary");
    queue->QueueIdentifiedRequest(primary);
    const auto again = For(kA, "again");
    const auto duplicate = For(kA, "duplicate");
    duplicate->onCancel = [&] { queue->QueueIdentifiedRequest(again); };
    queue->QueueIdentifiedRequest(duplicate);
    TakeLog();
    queue->TryToCancelOneIdentifiedRequest(kA); // joins the primary, which still runs
    primary->Complete(0);
    RunAll();
    EXPECT_EQ(
        (Log{"duplicate: cancel queued", "primary: process", "again: completed by primary with 0"}),
        mLog);
}

} // namespace
