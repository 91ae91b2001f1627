#include "Commands/StressMediaVector.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "LoadOrder.h"
#include "MediaManager/MediaVector.h"
#include "RKMediaManager.h"
#include "qelcore/AsyncExecutor.h"

RK_RECORD_SET_UP("Src/Commands/StressMediaVector");

namespace RK
{
namespace Commands
{

namespace
{

constexpr std::size_t kSlots = 10000;
constexpr Size kItemSize = 100000; // bytes, said to the manager and not allocated
constexpr Priority kItemPriority = 3;
// A round makes at most 30000 events, of which the manager holds 65536: on few threads none is lost.
constexpr int kRounds = 20;

// What a writer puts into slot i is i and the complement of i, one after the other: a reader that comes
// in the middle sees nothing or a half, and any other pair is a broken one.
struct Element
{
    std::atomic<std::uint64_t> mValue{0};
    std::atomic<std::uint64_t> mComplement{0};
};

class Stress
{
public:
    void ReadAndWrite()
    {
        for (MediaID i = 0; i < kSlots; ++i)
        {
            if (mVector->Read(i, [&](Element& inElement) { Look(i, inElement); }))
                ++mReads;
            else if (mVector->Write(i, kItemPriority,
                                    [&](Element& outElement) { return Fill(i, outElement); }))
                ++mWrites;
        }
    }
    void Clear()
    {
        for (MediaID i = 0; i < kSlots; ++i)
            mClears += mVector->Clear(i) ? 1 : 0;
    }
    void Purge() { MM::Purge(0, kPurgeUrgency_Immediate); }

    /// Takes everything from the manager, also what a purge and a writer in one slot at one time have
    /// left registered without being present.
    void TidyUp()
    {
        const IMediaManagerRef manager = GetMediaManager();
        manager->FlushAsyncEvents();
        for (MediaID i = 0; i < kSlots; ++i)
        {
            if (!mVector->Clear(i))
                manager->RemoveMedia(i, mVector->GetUniqueID());
        }
        manager->FlushAsyncEvents();
    }
    void Print(qelcore::UTF16OutputStream& outStream) const
    {
        outStream << "Reads: " << mReads.load() << ", writes: " << mWrites.load()
                  << ", clears: " << mClears.load() << ", broken: " << mBroken.load() << "\n";
    }

private:
    static Size Fill(MediaID inIndex, Element& outElement)
    {
        outElement.mValue = inIndex;
        outElement.mComplement = ~inIndex;
        return kItemSize;
    }
    void Look(MediaID inIndex, const Element& inElement)
    {
        const std::uint64_t value = inElement.mValue;
        const std::uint64_t complement = inElement.mComplement;
        if ((value != 0 && value != inIndex) || (complement != 0 && complement != ~inIndex))
            ++mBroken;
    }

    const ZOR::InterfaceRef<MediaVector<Element>, IMediaMap> mVector{
        new MediaVector<Element>(kSlots)};
    std::atomic<std::uint64_t> mReads{0};
    std::atomic<std::uint64_t> mWrites{0};
    std::atomic<std::uint64_t> mClears{0};
    std::atomic<std::uint64_t> mBroken{0};
};

} // namespace

const qelcore::UTF16String StressMediaVector::kName = u"RK.StressMediaVector";
const qelcore::UTF16String StressMediaVector::kDescription =
    u"RK.StressMediaVector - Stress the MediaVector with multiple threads.";

void StressMediaVector::Execute(const qelcore::UTF16String& inArguments,
                                qelcore::UTF16OutputStream& outStream)
{
    if (!inArguments.empty())
    {
        outStream << "No argument."
                  << "\n";
        return;
    }
    Stress stress;
    const qelcore::threads::AsyncExecutorPtr executor =
        qelcore::threads::CreateSubExecutor(qelcore::threads::CreateCPUBoundExecutor(), -1);
    for (int i = 0; i < kRounds; ++i)
    {
        // Small jobs in turn, so that even two threads do different things at a time.
        executor->Post([&stress] { stress.ReadAndWrite(); }, 0);
        executor->Post([&stress] { stress.Clear(); }, 0);
        executor->Post([&stress] { stress.ReadAndWrite(); }, 0);
        executor->Post([&stress] { stress.Purge(); }, 0);
    }
    executor->Flush();
    stress.TidyUp();
    stress.Print(outStream);
}

} // namespace Commands
} // namespace RK
