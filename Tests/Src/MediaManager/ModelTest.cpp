// Random work on the manager beside a plain model of its rules.
//
// The model keeps one list of items and one of events, and looks through them from end to end; nothing in
// it is shared with the manager but the figures of the budget, which have tests of their own.
#include "ManagerFixture.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace
{

using namespace RK;
using namespace Testing;

struct ModelItem
{
    int map;
    MediaID id;
    std::uint64_t size;
    std::uint32_t priority, handles;
    bool zero;
    long long rank;
    double time;

    auto Order() const { return std::make_tuple(rank, id, map); }
};

struct ModelEvent
{
    char kind; // 'a'dd, 't'ouch, 'r'emove
    int map;
    MediaID id;
    std::uint64_t size;
    std::uint32_t priority, handles;
    double time;
};

long long TickAt(double inTime)
{
    return static_cast<long long>(std::fmod(inTime, 171798.0) * 25000.0);
}

long long RankOf(double inTime, std::uint64_t inSize, std::uint32_t inPriority)
{
    if (inSize <= 100000)
        return TickAt(inTime);
    return TickAt(inTime) -
           static_cast<long long>(std::sqrt(static_cast<float>(inPriority) * 0.01f) * 3000000.0f);
}

class Model
{
public:
    std::vector<ModelItem> items;
    std::vector<ModelEvent> events;
    std::vector<std::pair<int, MediaID>> flushed;
    std::set<std::pair<int, MediaID>> kept; // non-purgeable
    double now = 0;
    double lastCheck = 0;
    double timeout = 0;
    std::uint64_t smallLimit = 0, zeroLimit = 0, half = 0;

    std::uint64_t Space() const
    {
        return Sum([](const ModelItem&) { return true; });
    }
    // What eight-hour gaps left counted stays counted.
    std::uint64_t ZeroSpace() const
    {
        return zeroLeftOver + Sum([](const ModelItem& i) { return i.zero; });
    }
    std::uint64_t Handles() const
    {
        std::uint64_t sum = 0;
        for (const ModelItem& item : items)
            sum += item.handles;
        return sum;
    }
    std::uint64_t zeroLeftOver = 0;

    void Touch(int inMap, MediaID inID)
    {
        if (!lastSlotCleared && !events.empty() && events.back().kind == 't' &&
            events.back().map == inMap && events.back().id == inID)
            return;
        Push({'t', inMap, inID, 0, 0, 0, now});
    }
    void Push(const ModelEvent& inEvent)
    {
        events.push_back(inEvent);
        lastSlotCleared = false;
    }

    void Apply()
    {
        for (const ModelEvent& e : events)
        {
            if (e.kind == 'a' && !Find(e.map, e.id))
            {
                const std::uint32_t priority = std::min(e.priority, 100u);
                items.push_back({e.map, e.id, e.size, priority, e.handles,
                                 e.priority == 0 && e.size < smallLimit,
                                 RankOf(e.time, e.size, priority), e.time});
            }
            if (e.kind == 'r')
                items.erase(std::remove_if(items.begin(), items.end(), [&](const ModelItem& i)
                                           { return i.map == e.map && i.id == e.id; }),
                            items.end());
        }
        for (auto e = events.rbegin(); e != events.rend(); ++e)
        {
            ModelItem* const item = e->kind == 't' ? Find(e->map, e->id) : nullptr;
            if (!item || item->rank >= RankOf(e->time, item->size, item->priority))
                continue;
            item->rank = RankOf(e->time, item->size, item->priority);
            item->time = item->zero ? now : e->time;
        }
        events.clear();
        lastSlotCleared = true;
    }

    std::uint64_t Purge(std::uint64_t inSize, bool inBackground)
    {
        Apply();
        const std::uint64_t space = Space();
        std::uint64_t target = std::min(space, inSize);
        if (inBackground)
        {
            if (space <= half && Handles() < 301)
                return 0;
            target = space <= half ? 0 : std::min(target, space - half);
        }
        const std::uint64_t floor = space - target;
        std::uint64_t purged = CheckGap();
        if (ZeroSpace() > 268435456)
            DropUnused(true, 120, ZeroSpace() - 268435456, purged);
        if (timeout != 0)
            DropUnused(false, timeout, ~0ull, purged);
        const auto zeroStart = DropMisplaced(true, purged);
        const auto mainStart = DropMisplaced(false, purged);
        Shrink(false, mainStart, floor, purged);
        Shrink(true, zeroStart, floor, purged);
        return purged;
    }

private:
    using Place = std::tuple<long long, MediaID, int>;
    bool lastSlotCleared = true;

    template <class Which>
    std::uint64_t Sum(const Which& inWhich) const
    {
        std::uint64_t sum = 0;
        for (const ModelItem& item : items)
            sum += inWhich(item) ? item.size : 0;
        return sum;
    }
    ModelItem* Find(int inMap, MediaID inID)
    {
        for (ModelItem& item : items)
        {
            if (item.map == inMap && item.id == inID)
                return &item;
        }
        return nullptr;
    }
    std::vector<ModelItem> Sorted(bool inZero) const
    {
        std::vector<ModelItem> result;
        for (const ModelItem& item : items)
        {
            if (item.zero == inZero)
                result.push_back(item);
        }
        std::sort(result.begin(), result.end(),
                  [](const ModelItem& a, const ModelItem& b) { return a.Order() < b.Order(); });
        return result;
    }
    void Drop(const ModelItem& inItem, std::uint64_t& ioPurged)
    {
        ioPurged += inItem.size;
        flushed.emplace_back(inItem.map, inItem.id);
        const auto order = inItem.Order();
        items.erase(std::find_if(items.begin(), items.end(),
                                 [&](const ModelItem& i) { return i.Order() == order; }));
    }
    std::uint64_t CheckGap()
    {
        const double gap = now - lastCheck;
        lastCheck = now;
        if (gap <= 28800)
            return 0;
        std::uint64_t purged = 0;
        zeroLeftOver = ZeroSpace();
        for (const bool zero : {false, true})
        {
            for (const ModelItem& item : Sorted(zero))
                Drop(item, purged);
        }
        return purged;
    }
    void DropUnused(bool inZero, double inTimeout, std::uint64_t inLimit, std::uint64_t& ioPurged)
    {
        const double cutoff = now - inTimeout;
        if (cutoff <= 0)
            return;
        for (const ModelItem& item : Sorted(inZero))
        {
            if (ioPurged >= inLimit || item.rank >= TickAt(cutoff))
                return;
            if (!kept.count({item.map, item.id}) && item.time < cutoff &&
                (inZero || item.priority != 0))
                Drop(item, ioPurged);
        }
    }
    /// @return the place that the walk by size is to begin at.
    Place DropMisplaced(bool inZero, std::uint64_t& ioPurged)
    {
        const std::vector<ModelItem> sorted = Sorted(inZero);
        if (timeout != 0)
            return sorted.empty() ? Place() : sorted.front().Order();
        const long long low = TickAt(now) + 3000000, high = TickAt(now) + 0x7FFFFFFFLL;
        Place start(high, 0, -1);
        for (const ModelItem& item : sorted)
        {
            if (item.rank >= low && item.rank < high)
                Drop(item, ioPurged);
        }
        return start;
    }
    void Shrink(bool inZero, const Place& inStart, std::uint64_t inFloor, std::uint64_t& ioPurged)
    {
        std::vector<ModelItem> order = Sorted(inZero);
        const auto start = std::find_if(order.begin(), order.end(),
                                        [&](const ModelItem& i) { return !(i.Order() < inStart); });
        std::rotate(order.begin(), start, order.end());
        for (const ModelItem& item : order)
        {
            const bool overSize = Space() > inFloor, overHandles = Handles() > 300;
            const bool overZero = inZero && ZeroSpace() > zeroLimit;
            if (!overSize && !overHandles && !overZero)
                return;
            if (!overSize && !overZero && item.handles == 0)
                continue;
            if (!kept.count({item.map, item.id}))
                Drop(item, ioPurged);
        }
    }
};

class ModelTest : public ManagerTest, public ::testing::WithParamInterface<unsigned>
{
protected:
    static constexpr int kMaps = 3;

    ModelTest()
        : mRandom(GetParam())
    {
        machine.totalPhysical = 4 * kGiB; // a budget of 512 MiB
        for (int map = 0; map < kMaps; ++map)
        {
            // In the order of the model's numbers, so that equal ranks go in the same order.
            mMaps.emplace_back(new FakeMap(Guid(0, map)));
            mMaps.back()->onFlush = [this, map](MediaID inID) { mFlushed.emplace_back(map, inID); };
        }
        mModel.smallLimit = mManager->GetMaxPriorityZeroItemSize();
        mModel.zeroLimit = mManager->GetMaxPriorityZeroCacheSize();
        mModel.half = mManager->GetReserveAdjustedMaxSize() / 2;
    }
    ~ModelTest() override
    {
        for (const FakeMapRef& map : mMaps)
            map->onFlush = nullptr;
    }

    std::uint64_t Pick(std::uint64_t inLimit) { return mRandom() % inLimit; }
    void Advance(double inSeconds)
    {
        AdvanceNanoseconds(static_cast<std::uint64_t>(std::llround(inSeconds * 1e9)));
        mModel.now = Inside().Now();
    }
    void Step()
    {
        const int map = static_cast<int>(Pick(kMaps));
        const MediaID id = 1 + Pick(60);
        switch (Pick(20))
        {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4:
        case 5:
            return AddOne(map, id);
        case 6:
        case 7:
        case 8:
        case 9:
        case 10:
            mManager->TouchMedia(id, mMaps[static_cast<std::size_t>(map)]->GetUniqueID());
            return mModel.Touch(map, id);
        case 11:
        case 12:
        case 13:
            mManager->RemoveMedia(id, mMaps[static_cast<std::size_t>(map)]->GetUniqueID());
            return mModel.Push({'r', map, id, 0, 0, 0, mModel.now});
        case 14:
            Apply();
            return mModel.Apply();
        case 15:
            return Protect(map, id);
        case 16:
            return SwitchMode();
        case 17:
            return PurgeBoth();
        default:
            return LetTimePass();
        }
    }
    void AddOne(int inMap, MediaID inID)
    {
        static constexpr std::uint64_t kSizes[] = {1,      99999,  100000,   100001,
                                                   199999, 200000, 5 * kMiB, 40 * kMiB};
        static constexpr std::uint32_t kPriorities[] = {0, 0, 0, 1, 9, 36, 100, 1000};
        static constexpr std::uint32_t kHandles[] = {0, 0, 0, 0, 0, 3, 40, 250};
        const std::uint64_t size = kSizes[Pick(8)];
        const std::uint32_t priority = kPriorities[Pick(8)];
        const std::uint32_t handles = kHandles[Pick(8)];
        mManager->AddMedia(inID, size, priority, handles, mMaps[static_cast<std::size_t>(inMap)]);
        mModel.Push({'a', inMap, inID, size, priority, handles, mModel.now});
    }
    void Protect(int inMap, MediaID inID)
    {
        auto& real = mMaps[static_cast<std::size_t>(inMap)]->nonPurgeable;
        if (mModel.kept.insert({inMap, inID}).second)
        {
            real.insert(inID);
            return;
        }
        mModel.kept.erase({inMap, inID});
        real.erase(inID);
    }
    void SwitchMode()
    {
        mModel.timeout = Pick(4) == 0 ? 5 : 0;
        Inside().SetTimeout(mModel.timeout);
    }
    void PurgeBoth()
    {
        static constexpr std::uint64_t kAmounts[] = {0, 1, 150000, 30 * kMiB, 200 * kMiB, ~0ull};
        const std::uint64_t amount = kAmounts[Pick(Pick(4) == 0 ? 6 : 4)];
        const bool background = Pick(3) == 0;
        const std::uint64_t expected = mModel.Purge(amount, background);
        EXPECT_EQ(expected, mManager->Purge(amount, background ? kPurgeUrgency_Background
                                                               : kPurgeUrgency_Immediate));
    }
    void LetTimePass()
    {
        static constexpr double kGaps[] = {0, 0.00003, 0.5, 3, 70, 3000, 20000, 27000};
        Advance(kGaps[Pick(8)]);
        if (Pick(400) == 0)
            Advance(28801); // the machine slept
    }
    void Compare()
    {
        Apply();
        mModel.Apply();
        ASSERT_EQ(mModel.flushed, mFlushed);
        ASSERT_EQ(mModel.Space(), mManager->GetCurrentSpace());
        ASSERT_EQ(mModel.ZeroSpace(), Inside().PriorityZeroSpace());
        ASSERT_EQ(mModel.Handles(), Inside().HandleCount());
        Inside().ExpectConsistent(mModel.zeroLeftOver);
        for (const ModelItem& item : mModel.items)
        {
            const auto found = Inside().IDs(item.zero).find({nullptr, item.id, Guid(0, item.map)});
            ASSERT_NE(Inside().IDs(item.zero).end(), found);
            ASSERT_EQ(item.rank, found->second.weight);
            ASSERT_EQ(item.time, found->second.time);
        }
    }

    using Guid = qelcore::utility::Guid;
    std::mt19937 mRandom;
    Model mModel;
    std::vector<FakeMapRef> mMaps;
    std::vector<std::pair<int, MediaID>> mFlushed;
};

TEST_P(ModelTest, AgreesWithThePlainRulesForTenThousandSteps)
{
    RecordProperty("seed", static_cast<int>(GetParam()));
    for (int step = 0; step < 10000 && !HasFailure(); ++step)
    {
        SCOPED_TRACE(::testing::Message() << "seed " << GetParam() << ", step " << step);
        Step();
        if (step % 50 == 49)
            Compare();
    }
    EXPECT_LT(1000u, mFlushed.size()) << "the mix of steps hardly purges";
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelTest, ::testing::Values(1u, 2u, 3u, 20240229u, 4294967295u),
                         [](const ::testing::TestParamInfo<unsigned>& inInfo)
                         { return "Seed" + std::to_string(inInfo.param); });

} // namespace
