// Lists of properties that are chained.
#include "MVProps.h"
#include "PluginsFixture.h"

namespace Testing
{

class PropertyChainTest : public HostInternalsFixture
{
protected:
    void SetUp() override
    {
        HostInternalsFixture::SetUp();
        ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&mFirst));
        ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&mFirst->nextList));
        Add(mFirst, 1);
        Add(mFirst->nextList, 1);
        Add(mFirst->nextList, 2);
    }
    static void Add(MVPropertyList* ioList, std::uint32_t inKey)
    {
        EXPECT_EQ(kMVNoError, MVAddProperty(ioList, kMVVendorID, inKey, 0, nullptr, 0, 0, nullptr));
    }
    template <class Find>
    MVProperty* FindBy(Find inFind, std::uint32_t inKey)
    {
        MVProperty* property = nullptr;
        EXPECT_EQ(kMVNoError, inFind(mFirst, kMVVendorID, inKey, 0, &property));
        return property;
    }

    MVPropertyList* mFirst = nullptr;
};

TEST_F(PropertyChainTest, ALookUpGoesOnInTheListsThatAreChained)
{
    EXPECT_EQ(mFirst->head, FindBy(MVFindProperty, 1));
    EXPECT_EQ(mFirst->nextList->head, FindBy(MVFindProperty, 2));
    EXPECT_EQ(nullptr, FindBy(MVFindProperty, 3));
    EXPECT_EQ(kMVNoError, MVFreePropertyList(mFirst));
}

TEST_F(PropertyChainTest, ALocalLookUpStaysInItsList)
{
    EXPECT_EQ(mFirst->head, FindBy(MVFindPropertyLocal, 1));
    EXPECT_EQ(nullptr, FindBy(MVFindPropertyLocal, 2));
    EXPECT_EQ(kMVNoError, MVFreePropertyList(mFirst));
}

TEST_F(PropertyChainTest, TheNextListIsToldAndEndsWithTheFirst)
{
    std::int32_t multiple = 0;
    MVPropertyList* next = nullptr;
    EXPECT_EQ(kMVNoError, MVHasMultiplePropertyLists(mFirst, &multiple));
    EXPECT_EQ(1, multiple);
    EXPECT_EQ(kMVNoError, MVGetNextPropertyList(mFirst, &next));
    EXPECT_EQ(mFirst->nextList, next);
    EXPECT_EQ(kMVNoError, MVFreePropertyList(mFirst));
}

} // namespace Testing
