#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Renderable/IRenderableCutlistFactory.h"
#include "ZOR/CountedObject.h"

namespace
{

using namespace RK;
using qelcore::utility::ImmutableString;

class Factory : public ZOR::CountedObject<IRenderableCutlistFactory>
{
public:
    explicit Factory(std::atomic<int>& ioAlive)
        : mAlive(ioAlive)
    {
        ++mAlive;
    }
    ~Factory() override { --mAlive; }
    boost::shared_ptr<IRenderableCutlistProvider>
    CreateCutlistProvider(const ZOR::InterfaceRef<ZOR::ZORUnknown, ZOR::ZORUnknown>&) override
    {
        return nullptr;
    }

private:
    std::atomic<int>& mAlive;
};

class CutlistFactory : public testing::Test
{
protected:
    ~CutlistFactory() override { SetCutlistFactory(nullptr); }
    std::atomic<int> mAlive{0};
};

TEST_F(CutlistFactory, IsNullUntilOneIsSet)
{
    EXPECT_FALSE(GetCutlistFactory());
}

TEST_F(CutlistFactory, IsHeldByItsPlaceUntilAnotherTakesIt)
{
    IRenderableCutlistFactoryRef first(new Factory(mAlive));
    SetCutlistFactory(first);
    EXPECT_EQ(first, GetCutlistFactory());
    first.reset();
    EXPECT_EQ(1, mAlive);

    const IRenderableCutlistFactoryRef held = GetCutlistFactory();
    SetCutlistFactory(IRenderableCutlistFactoryRef(new Factory(mAlive)));
    EXPECT_EQ(2, mAlive) << "who has got one keeps it";
    EXPECT_NE(held, GetCutlistFactory());

    SetCutlistFactory(nullptr);
    EXPECT_EQ(1, mAlive);
    EXPECT_FALSE(GetCutlistFactory());
}

TEST_F(CutlistFactory, MaySetItselfAgain)
{
    SetCutlistFactory(IRenderableCutlistFactoryRef(new Factory(mAlive)));
    SetCutlistFactory(GetCutlistFactory());
    EXPECT_EQ(1, mAlive);
    EXPECT_TRUE(GetCutlistFactory());
}

TEST_F(CutlistFactory, SetBeforeAnybodyAsksIsFoundByEightThreads)
{
    SetCutlistFactory(IRenderableCutlistFactoryRef(new Factory(mAlive)));
    const IRenderableCutlistFactory* const expected = GetCutlistFactory().get();
    std::vector<int> wrong(8, 0);
    std::vector<std::thread> threads;
    for (int& count : wrong)
        threads.emplace_back(
            [&count, expected]
            {
                for (int i = 0; i < 2000; ++i)
                    count += GetCutlistFactory().get() != expected;
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(8, 0), wrong);
    EXPECT_EQ(1, mAlive);
}

TEST_F(CutlistFactory, SetByEightThreadsLetsGoOfAllButOne)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(
            [this]
            {
                for (int times = 0; times < 500; ++times)
                    SetCutlistFactory(IRenderableCutlistFactoryRef(new Factory(mAlive)));
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(1, mAlive);
    SetCutlistFactory(nullptr);
    EXPECT_EQ(0, mAlive);
}

class Cutlist : public ZOR::CountedObject<IRenderableCutlist>
{
};

class PlainProvider : public IRenderableCutlistProvider
{
public:
    qelmediatypes::TickTime GetDuration() const override { return {}; }
    qelmediatypes::FrameRate GetFrameRate() const override { return {}; }
    IRenderableCutlistRef GetRenderableCutlist(bool) override { return nullptr; }
    IRenderableCutlistRef GetRenderableCutlistWithPreviewFiles(bool) override { return nullptr; }
    IRenderableCutlistRef GetRenderableCutlistWithStreamLabel(const ImmutableString& inLabel,
                                                              bool inFlag) override
    {
        mAsked.emplace_back(inLabel, inFlag);
        return mCutlist;
    }

    IRenderableCutlistRef mCutlist{new Cutlist};
    std::vector<std::pair<ImmutableString, bool>> mAsked;
};

TEST(RenderableCutlistProvider, AnswersForPreviewFilesAsItDoesForTheStream)
{
    PlainProvider provider;
    const ImmutableString left = ImmutableString::CreateStatic("left");
    const ImmutableString right = ImmutableString::CreateStatic("right");
    EXPECT_EQ(provider.mCutlist,
              provider.GetRenderableCutlistWithPreviewFilesWithStreamLabel(left, true));
    EXPECT_EQ(
        provider.mCutlist,
        provider.GetRenderableCutlistWithAlphaCorrectPreviewFilesWithStreamLabel(right, false));
    EXPECT_EQ((std::vector<std::pair<ImmutableString, bool>>{{left, true}, {right, false}}),
              provider.mAsked);
}

} // namespace
