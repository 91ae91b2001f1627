// What plug-ins declare, as the public functions show it.
#include <array>

#include "HostFixture.h"
#include "PropertyBytes.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kKey = 0x6B657920;
constexpr std::uint32_t kOtherKey = 0x6F746872;

class PropertiesTest : public HostFixture
{
protected:
    void SetUp() override
    {
        HostFixture::SetUp();
        ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&mList));
    }
    void TearDown() override
    {
        EXPECT_EQ(kMVNoError, MVFreePropertyList(mList));
        HostFixture::TearDown();
    }

    MVProperty* Find(std::uint32_t inKey, std::uint32_t inID = 0)
    {
        MVProperty* property = nullptr;
        EXPECT_EQ(kMVNoError, MVFindProperty(mList, kMVVendorID, inKey, inID, &property));
        return property;
    }
    static std::string DataOf(MVProperty* inProperty)
    {
        PIProperty* record = nullptr;
        EXPECT_EQ(kMVNoError, MVGetPropertyPIProperty(inProperty, &record));
        if (record == nullptr)
            return "none";
        return {reinterpret_cast<const char*>(record + 1), record->propertyLength};
    }
    MVResult Add(const std::string& inList)
    {
        AlignedBytes bytes(inList);
        return MVAddProperties(mList, bytes.List(), 7, 1);
    }

    MVPropertyList* mList = nullptr;
};

TEST_F(PropertiesTest, EveryRecordOfAListIsCopiedWhateverThePadding)
{
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "a"), RecordBytes(kOtherKey, "four"),
                                         RecordBytes(kKey, "", kMVVendorID, 2)})));
    EXPECT_EQ("a", DataOf(Find(kKey)));
    EXPECT_EQ("four", DataOf(Find(kOtherKey)));
    EXPECT_EQ("", DataOf(Find(kKey, 2)));
}

TEST_F(PropertiesTest, ARecordIsACopyThatTheListOwns)
{
    AlignedBytes bytes(ListBytes({RecordBytes(kKey, "data")}));
    ASSERT_EQ(kMVNoError, MVAddProperties(mList, bytes.List(), 7, 1));
    bytes = AlignedBytes(ListBytes({RecordBytes(kKey, "gone")}));
    MVProperty* property = Find(kKey);
    EXPECT_EQ("data", DataOf(property));
    std::int32_t byPlugin = -1;
    EXPECT_EQ(kMVNoError, MVGetPropertyAllocatedByPlugin(property, &byPlugin));
    EXPECT_EQ(0, byPlugin);
}

TEST_F(PropertiesTest, RefConAndCacheableAreThoseOfTheAddition)
{
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "data")})));
    std::int32_t refCon = 0;
    std::int32_t cacheable = 0;
    EXPECT_EQ(kMVNoError, MVGetPropertyRefCon(Find(kKey), &refCon));
    EXPECT_EQ(kMVNoError, MVGetPropertyCacheable(Find(kKey), &cacheable));
    EXPECT_EQ(7, refCon);
    EXPECT_EQ(1, cacheable);
}

TEST_F(PropertiesTest, AllThreeKeysMustBeEqual)
{
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "data", 5, 6)})));
    const std::array<std::array<std::uint32_t, 3>, 3> others = {
        {{5, kKey, 7}, {5, kOtherKey, 6}, {4, kKey, 6}}};
    for (const auto& [vendor, key, id] : others)
    {
        MVProperty* property = nullptr;
        EXPECT_EQ(kMVNoError, MVFindProperty(mList, vendor, key, id, &property));
        EXPECT_EQ(nullptr, property);
    }
    MVProperty* property = nullptr;
    EXPECT_EQ(kMVNoError, MVFindProperty(mList, 5, kKey, 6, &property));
    EXPECT_NE(nullptr, property);
}

TEST_F(PropertiesTest, TheNewestOfEqualKeysIsFound)
{
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "old"), RecordBytes(kKey, "new")})));
    EXPECT_EQ("new", DataOf(Find(kKey)));
}

TEST_F(PropertiesTest, NothingIsFoundInNoList)
{
    MVProperty* property = reinterpret_cast<MVProperty*>(this);
    EXPECT_EQ(kMVNoError, MVFindProperty(nullptr, kMVVendorID, kKey, 0, &property));
    EXPECT_EQ(nullptr, property);
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(PropertiesTest, ALookUpWithoutAPlaceForItsAnswerDoesNothing)
{
    EXPECT_EQ(kMVNoError, MVFindProperty(mList, kMVVendorID, kKey, 0, nullptr));
    EXPECT_EQ(kMVNoError, MVFindPropertyLocal(mList, kMVVendorID, kKey, 0, nullptr));
}

TEST_F(PropertiesTest, APropertyMayBeWithoutARecord)
{
    MVProperty* property = nullptr;
    ASSERT_EQ(kMVNoError, MVAddProperty(mList, kMVVendorID, kKey, 3, nullptr, 4, 0, &property));
    EXPECT_EQ(property, Find(kKey, 3));
    EXPECT_EQ("none", DataOf(property));
}

TEST_F(PropertiesTest, TheKeysOfAnAdditionAreItsOwnAndNotThoseOfTheRecord)
{
    AlignedBytes record(RecordBytes(kOtherKey, "data"));
    MVProperty* property = nullptr;
    ASSERT_EQ(kMVNoError,
              MVAddProperty(mList, kMVVendorID, kKey, 0, record.Property(), 0, 0, &property));
    EXPECT_EQ(property, Find(kKey));
    EXPECT_EQ(nullptr, Find(kOtherKey));
}

TEST_F(PropertiesTest, WithoutMemoryForARecordEarlierOnesStay)
{
    app.allocationsLeft = 3; // two blocks a record: the second record's property is the fourth
    EXPECT_EQ(kMVOutOfMemoryError,
              Add(ListBytes({RecordBytes(kKey, "data"), RecordBytes(kOtherKey, "data")})));
    app.allocationsLeft = -1;
    EXPECT_NE(nullptr, Find(kKey));
    EXPECT_EQ(nullptr, Find(kOtherKey));
    EXPECT_THAT(app.thrown, ElementsAre(kMVOutOfMemoryError));
}

TEST_F(PropertiesTest, WithoutMemoryForTheCopyThePropertyStaysAndIsNotHandedOut)
{
    AlignedBytes record(RecordBytes(kKey, "data"));
    MVProperty* property = reinterpret_cast<MVProperty*>(this);
    app.allocationsLeft = 1;
    EXPECT_EQ(kMVOutOfMemoryError,
              MVAddProperty(mList, kMVVendorID, kKey, 0, record.Property(), 0, 0, &property));
    app.allocationsLeft = -1;
    EXPECT_EQ(nullptr, property);
    ASSERT_NE(nullptr, Find(kKey));
    EXPECT_EQ("none", DataOf(Find(kKey)));
}

TEST_F(PropertiesTest, AListEndsWithoutAnyOfItsBlocks)
{
    const std::size_t before = app.internalBlocks.size();
    MVPropertyList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&list));
    AlignedBytes bytes(ListBytes({RecordBytes(kKey, "data"), RecordBytes(kOtherKey, "data")}));
    ASSERT_EQ(kMVNoError, MVAddProperties(list, bytes.List(), 0, 0));
    ASSERT_EQ(kMVNoError, MVAddProperty(list, kMVVendorID, kKey, 0, nullptr, 0, 0, nullptr));
    EXPECT_EQ(kMVNoError, MVFreePropertyList(list));
    EXPECT_EQ(before, app.internalBlocks.size());
    EXPECT_EQ(kMVNoError, MVFreePropertyList(nullptr));
}

TEST_F(PropertiesTest, AnIteratorGivesEachPropertyAndThenNothing)
{
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "1"), RecordBytes(kKey, "2")})));
    MVPropertyListIterator* iterator = nullptr;
    ASSERT_EQ(kMVNoError, MVNewPropertyListIterator(mList, &iterator));
    std::vector<std::string> met;
    MVProperty* property = nullptr;
    while (MVNextProperty(iterator, &property) == kMVNoError && property != nullptr)
        met.push_back(DataOf(property));
    EXPECT_THAT(met, ElementsAre("2", "1"));
    EXPECT_EQ(kMVNoError, MVNextProperty(iterator, &property));
    EXPECT_EQ(nullptr, property);
    EXPECT_EQ(kMVNoError, MVDeletePropertyListIterator(iterator));
}

TEST_F(PropertiesTest, AnIteratorIsOfNoUseOnceAPropertyHasCome)
{
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "1")})));
    MVPropertyListIterator* iterator = nullptr;
    ASSERT_EQ(kMVNoError, MVNewPropertyListIterator(mList, &iterator));
    ASSERT_EQ(kMVNoError, Add(ListBytes({RecordBytes(kKey, "2")})));
    MVProperty* property = reinterpret_cast<MVProperty*>(this);
    EXPECT_EQ(kMVBadPropertyListIteratorError, MVNextProperty(iterator, &property));
    EXPECT_EQ(nullptr, property);
    EXPECT_THAT(app.thrown, ElementsAre(kMVBadPropertyListIteratorError));
    EXPECT_EQ(kMVNoError, MVDeletePropertyListIterator(iterator));
}

TEST_F(PropertiesTest, AListAloneHasNoOthers)
{
    std::int32_t multiple = -1;
    EXPECT_EQ(kMVNoError, MVHasMultiplePropertyLists(mList, &multiple));
    EXPECT_EQ(0, multiple);
    MVPropertyList* next = mList;
    EXPECT_EQ(kMVNoError, MVGetNextPropertyList(mList, &next));
    EXPECT_EQ(nullptr, next);
}

TEST_F(PropertiesTest, ArgumentsThatAreMissingAreRefused)
{
    MVProperty* property = nullptr;
    AlignedBytes bytes(ListBytes({}));
    EXPECT_EQ(kMVBadParameterError, MVAllocatePropertyList(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVAddProperties(nullptr, bytes.List(), 0, 0));
    EXPECT_EQ(kMVBadParameterError, MVAddProperties(mList, nullptr, 0, 0));
    EXPECT_EQ(kMVBadParameterError,
              MVAddProperty(nullptr, kMVVendorID, kKey, 0, nullptr, 0, 0, &property));
    EXPECT_EQ(kMVBadParameterError, MVNextProperty(nullptr, &property));
    EXPECT_EQ(kMVBadParameterError, MVDeletePropertyListIterator(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVGetPropertyPIProperty(nullptr, nullptr));
}

// The bytes end where the allocation ends, so that a look past them is seen.
MVResult Check(const std::string& inBytes)
{
    const std::vector<char> exact(inBytes.begin(), inBytes.end());
    return MVCheckPropertyList(exact.data(), exact.size());
}

TEST(PropertyListCheckTest, AListWhoseRecordsLieWithinItsBytesIsSound)
{
    EXPECT_EQ(kMVNoError, Check(ListBytes({})));
    EXPECT_EQ(kMVNoError, Check(ListBytes({RecordBytes(kKey, "")})));
    EXPECT_EQ(kMVNoError, Check(ListBytes({RecordBytes(kKey, "12345"), RecordBytes(kKey, "1")})));
    EXPECT_EQ(kMVNoError, Check(ListBytes({RecordBytes(kKey, "1234")}) + "what follows"));
}

TEST(PropertyListCheckTest, EveryByteThatIsMissingAtTheEndIsNoticed)
{
    const std::string sound = ListBytes({RecordBytes(kKey, "12345"), RecordBytes(kKey, "1")});
    for (std::size_t length = 0; length < sound.size(); ++length)
        EXPECT_EQ(kMVBadParameterError, Check(sound.substr(0, length))) << length;
}

TEST(PropertyListCheckTest, ACountOfMoreThanThereIsIsNoticed)
{
    std::string bytes = ListBytes({RecordBytes(kKey, "1234")});
    bytes.replace(4, 4, Word(2));
    EXPECT_EQ(kMVBadParameterError, Check(bytes));
    bytes.replace(4, 4, Word(0xFFFFFFFF));
    EXPECT_EQ(kMVBadParameterError, Check(bytes));
}

TEST(PropertyListCheckTest, ALengthThatOverflowsWithItsPaddingIsNoticed)
{
    for (const std::uint32_t length : {0xFFFFFFFFu, 0xFFFFFFF0u, 0xFFFFFFECu, 0x80000000u, 5u})
    {
        std::string bytes = ListBytes({RecordBytes(kKey, "1234")});
        bytes.replace(8 + 12, 4, Word(length));
        EXPECT_EQ(kMVBadParameterError, Check(bytes)) << length;
    }
}

TEST(PropertyListCheckTest, ListsOfStrangersNeedNotBeAligned)
{
    const std::string bytes = "x" + ListBytes({RecordBytes(kKey, "12345")});
    EXPECT_EQ(kMVNoError, MVCheckPropertyList(bytes.data() + 1, bytes.size() - 1));
    EXPECT_EQ(kMVBadParameterError, MVCheckPropertyList(nullptr, 100));
}

} // namespace Testing
