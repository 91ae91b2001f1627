#include "Foundation/MemoryBalancer/Src/BalanceImage.h"

#include <functional>

#include <gtest/gtest.h>

namespace
{

using namespace memorybalancer;

constexpr std::uint64_t kGiB = 1ull << 30;

Slot Taken(std::uint64_t inMaximum = 4 * kGiB)
{
    Slot slot;
    slot.taken = 1;
    slot.processID = 17;
    slot.priority = 1;
    slot.maximum = inMaximum;
    slot.total = 16 * kGiB;
    slot.free = 8 * kGiB;
    slot.name = ToSlotName(u"cutter");
    return slot;
}

BalanceImage Sound()
{
    BalanceImage image;
    image.slots[3] = Taken();
    image.slots[63] = Taken();
    Rebalance(image);
    Seal(image);
    return image;
}

TEST(BalanceImage, OfNothingButZerosIsBlankWhateverTheBellSays)
{
    BalanceImage image;
    EXPECT_EQ(ImageCondition::kBlank, Judge(image));
    image.bell = 7;
    EXPECT_EQ(ImageCondition::kBlank, Judge(image));
}

TEST(BalanceImage, ThatWasSealedIsSoundWhateverTheBellSays)
{
    BalanceImage image = Sound();
    EXPECT_EQ(ImageCondition::kSound, Judge(image));
    image.bell = 7;
    EXPECT_EQ(ImageCondition::kSound, Judge(image));
}

TEST(BalanceImage, IsDamagedByAnyBitOfItself)
{
    const BalanceImage sound = Sound();
    for (std::size_t byte = sizeof sound.bell; byte < sizeof sound; ++byte)
    {
        BalanceImage image = sound;
        reinterpret_cast<unsigned char*>(&image)[byte] ^= static_cast<unsigned char>(1 << byte % 8);
        ASSERT_EQ(ImageCondition::kDamaged, Judge(image)) << "byte " << byte;
    }
}

struct Damage
{
    const char* name;
    std::function<void(BalanceImage&)> spoil;
};

class SealedBalanceImage : public ::testing::TestWithParam<Damage>
{
};

TEST_P(SealedBalanceImage, IsDamagedByAFigureThatCannotBe)
{
    BalanceImage image = Sound();
    GetParam().spoil(image);
    Seal(image);
    EXPECT_EQ(ImageCondition::kDamaged, Judge(image));
}

INSTANTIATE_TEST_SUITE_P(
    With, SealedBalanceImage,
    ::testing::Values(
        Damage{"ASlotThatIsTakenTwice", [](BalanceImage& io) { io.slots[3].taken = 2; }},
        Damage{"NoProcess", [](BalanceImage& io) { io.slots[3].processID = 0; }},
        Damage{"ANegativeProcess", [](BalanceImage& io) { io.slots[3].processID = -1; }},
        Damage{"AContainerOfNothing", [](BalanceImage& io) { io.slots[3].total = 0; }},
        Damage{"ANameWithoutEnd", [](BalanceImage& io) { io.slots[3].name.fill(u'x'); }},
        Damage{"AGrantAboveTheMaximum", [](BalanceImage& io) { io.slots[3].grant = 4 * kGiB + 1; }},
        Damage{"AGrantInAFreeSlot", [](BalanceImage& io) { io.slots[4].grant = 1; }},
        Damage{"ANameInAFreeSlot", [](BalanceImage& io) { io.slots[4].name[0] = u'x'; }},
        Damage{"GrantsAboveTheCapacity", [](BalanceImage& io) { io.capacity = 7 * kGiB; }},
        Damage{"GrantsWhoseSumWraps",
               [](BalanceImage& io)
               {
                   io.slots[3].maximum = io.slots[3].grant = ~std::uint64_t{0};
                   io.slots[63].grant = 2;
               }}),
    [](const auto& inInfo) { return inInfo.param.name; });

TEST(BalanceImage, IsSoundWithAnyDemand)
{
    BalanceImage image = Sound();
    image.slots[3].minimum = image.slots[3].used = image.slots[3].free = ~std::uint64_t{0};
    image.slots[3].maximum = 1;
    image.slots[3].priority = INT32_MIN;
    Rebalance(image);
    Seal(image);
    EXPECT_EQ(ImageCondition::kSound, Judge(image));
    EXPECT_EQ(1u, image.slots[3].grant);
}

TEST(Rebalancing, GrantsByWhatTheSlotsTellAndSaysWhetherThatChanged)
{
    BalanceImage image;
    image.slots[3] = Taken();
    EXPECT_TRUE(Rebalance(image));
    EXPECT_EQ(4 * kGiB, image.slots[3].grant);
    EXPECT_EQ(8 * kGiB, image.capacity);
    EXPECT_FALSE(Rebalance(image));

    image.slots[5] = Taken();
    EXPECT_TRUE(Rebalance(image));
    EXPECT_EQ(3968u << 20, image.slots[3].grant);
    EXPECT_EQ(3968u << 20, image.slots[5].grant);
}

TEST(Rebalancing, OfAnEmptyTableLeavesNoCapacity)
{
    BalanceImage image = Sound();
    image.slots.fill(Slot());
    EXPECT_FALSE(Rebalance(image));
    EXPECT_EQ(0u, image.capacity);
}

TEST(SlotName, KeepsTheFirst47Units)
{
    Slot slot = Taken();
    slot.name = ToSlotName(qelcore::UTF16String(100, u'n'));
    EXPECT_EQ(qelcore::UTF16String(47, u'n'), ToMember(slot).clientName);
    slot.name = ToSlotName(u"");
    EXPECT_EQ(u"", ToMember(slot).clientName);
}

} // namespace
