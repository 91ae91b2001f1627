// The books against a plain model that knows neither locks nor trees, over thousands of random
// steps.
#include <algorithm>
#include <map>
#include <random>

#include "FileManagerFixture.h"

namespace
{

using namespace Testing;
using RK::FileManager;

constexpr int kSteps = 4000;
constexpr std::uint32_t kOwners = 4;
constexpr std::uint32_t kNumbers = 12;

/// The files by owner and number, each with its count, and what a purge does to them.
class Model
{
public:
    using Key = std::pair<std::uint32_t, std::uint32_t>;

    std::uint64_t Sum() const
    {
        std::uint64_t sum = 0;
        for (const auto& file : mFiles)
            sum += file.second;
        return sum;
    }
    void Put(const Key& inKey, std::uint32_t inCount)
    {
        mFiles.erase(inKey);
        // Counted, and not yet listed: so it is above the limit with the rest, and cannot be
        // closed.
        if (Sum() + inCount > mHard)
            Purge(mSoft, inCount);
        mFiles[inKey] = inCount;
    }
    void Remove(const Key& inKey)
    {
        mFiles.erase(inKey);
        Enforce(false);
    }
    void RemoveAllOf(std::uint32_t inOwner)
    {
        for (auto file = mFiles.begin(); file != mFiles.end();)
            file = file->first.first == inOwner ? mFiles.erase(file) : std::next(file);
    }
    void SetLimits(std::uint32_t inSoft, std::uint32_t inHard)
    {
        mSoft = inSoft;
        mHard = std::max(inSoft, inHard);
        Enforce(false);
    }
    void Enforce(bool inForce)
    {
        if (Sum() > mHard || (inForce && Sum() > mSoft))
            Purge(mSoft, 0);
    }
    bool Purge(std::uint32_t inLimit, std::uint32_t inNotListed)
    {
        std::uint64_t closed = 0;
        std::uint64_t sum = Sum() + inNotListed;
        while (sum >= inLimit && !mFiles.empty())
        {
            const auto least = std::min_element(mFiles.begin(), mFiles.end(), HasLowerPriority);
            sum -= least->second;
            closed += least->second;
            mFiles.erase(least);
        }
        return closed != 0;
    }
    const std::map<Key, std::uint32_t>& Files() const { return mFiles; }

    /// One of its own for each file, so that there is one answer.
    static std::uint64_t PriorityOf(const Key& inKey)
    {
        return (inKey.second * 7919 + inKey.first * 104729) % 1000003;
    }

private:
    static bool HasLowerPriority(const std::pair<const Key, std::uint32_t>& a,
                                 const std::pair<const Key, std::uint32_t>& b)
    {
        return PriorityOf(a.first) < PriorityOf(b.first);
    }

    std::map<Key, std::uint32_t> mFiles;
    std::uint32_t mSoft = 100;
    std::uint32_t mHard = 110;
};

class OpenFileModel : public FileManagerTest, public testing::WithParamInterface<unsigned>
{
protected:
    OpenFileModel()
    {
        for (std::uint32_t owner = 0; owner < kOwners; ++owner)
            mOwners.push_back(MakeOwner(owner));
    }

    RK::IOpenFileOwnerRef MakeOwner(std::uint32_t inOwner)
    {
        // Every other one offers no weak references.
        return inOwner % 2 == 0 ? Prepared<WeakOwner>(inOwner) : Prepared<StrongOwner>(inOwner);
    }
    template <class Owner>
    static RK::IOpenFileOwnerRef Prepared(std::uint32_t inOwner)
    {
        Owner* const owner = new Owner;
        owner->onPriority = [inOwner](std::uint32_t inFileID)
        { return Model::PriorityOf({inOwner, inFileID}); };
        return RK::IOpenFileOwnerRef(owner);
    }
    std::uint32_t Draw(std::uint32_t inCount)
    {
        return static_cast<std::uint32_t>(mRandom() % inCount);
    }

    void Step()
    {
        const std::uint32_t owner = Draw(kOwners);
        const std::uint32_t number = Draw(kNumbers);
        switch (Draw(20))
        {
        case 0:
            return KillAWeakOwner(owner / 2 * 2);
        case 1:
            return ChangeLimits();
        case 2:
            return PurgeTo(Draw(60));
        case 3:
            mModel.Enforce(true);
            return FileManager::LazyPurge();
        case 4:
        case 5:
        case 6:
            mModel.Remove({owner, number});
            return FileManager::UnregisterOpenFile(mOwners[owner], number);
        default:
            const std::uint32_t count = Draw(9);
            mModel.Put({owner, number}, count);
            return FileManager::RegisterOpenFile(mOwners[owner], PathOf(number), number, count);
        }
    }
    void KillAWeakOwner(std::uint32_t inOwner)
    {
        mOwners[inOwner] = MakeOwner(inOwner); // a new one under its number
        mModel.RemoveAllOf(inOwner);
        Inside().Snapshot();
    }
    void ChangeLimits()
    {
        const std::uint32_t soft = 10 + Draw(80);
        const std::uint32_t hard = soft + Draw(15);
        mModel.SetLimits(soft, hard);
        FileManager::SetOpenFileLimits(soft, hard);
    }
    void PurgeTo(std::uint32_t inLimit)
    {
        EXPECT_EQ(mModel.Purge(inLimit, 0), FileManager::FlushOpenFilesToTemporaryLimit(inLimit));
    }

    std::mt19937 mRandom{GetParam()};
    std::vector<RK::IOpenFileOwnerRef> mOwners;
    Model mModel;
};

TEST_P(OpenFileModel, AgreesWithTheBooksAtEveryStep)
{
    for (int step = 0; step < kSteps; ++step)
    {
        Step();
        ASSERT_EQ(mModel.Sum(), OpenCount()) << "after step " << step;
        ASSERT_EQ(mModel.Files().size(), Inside().ListedCount()) << "after step " << step;
        ASSERT_EQ(OpenCount(), Inside().SumOfListed()) << "after step " << step;
    }
    FileManager::FlushOpenFilesToTemporaryLimit(0); // strong owners hold on to nothing
    EXPECT_EQ(0u, OpenCount());
}

INSTANTIATE_TEST_SUITE_P(Seeds, OpenFileModel, testing::Values(1u, 2u, 3u, 4u));

} // namespace
