// What the macros of Properties.h put into a file, byte by byte.
#include <RiverKit/MoonVetch/Host.h>
#include <RiverKit/MoonVetch/MoonVetch.h>

#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Blur"), MV_PLUGIN_ENTRY("Go"), MV_PLUGIN_CAPABILITIES(5),
                     MV_PLUGIN_STARTS_EARLY, MV_PLUGIN_ADAPTER(2),
                     MV_PLUGIN_EXPORTS(MV_EXPORT("abc", 7), MV_EXPORT("Suite", 2)),
                     MV_PROPERTY_TEXT(0x41424344, 0x45464748, 3, "own"),
                     MV_PROPERTY_NUMBER(0x41424344, 0x45464748, 4, -1));

namespace
{

struct Record
{
    PIProperty property;
    std::string data;
};

const unsigned char* Bytes()
{
    return reinterpret_cast<const unsigned char*>(&MVPluginProperties);
}

// The records, as a host walks along them: each is padded to a multiple of 4.
std::vector<Record> Records(std::size_t& outEnd)
{
    std::vector<Record> records;
    std::size_t place = sizeof(PIPropertyList);
    for (std::uint32_t i = 0; i < MVPluginProperties.list.count; ++i)
    {
        Record record;
        std::memcpy(&record.property, Bytes() + place, sizeof record.property);
        record.data.assign(reinterpret_cast<const char*>(Bytes() + place + 16),
                           record.property.propertyLength);
        records.push_back(record);
        place += 16 + (record.property.propertyLength + 3) / 4 * 4;
    }
    outEnd = place;
    return records;
}

std::string Data(std::size_t inIndex)
{
    std::size_t end = 0;
    return Records(end).at(inIndex).data;
}

std::string Word(std::int32_t inNumber)
{
    return std::string(reinterpret_cast<const char*>(&inNumber), sizeof inNumber);
}

TEST(PropertiesMacros, MakeRecordsThatFollowEachOtherToTheEnd)
{
    std::size_t end = 0;
    const std::vector<Record> records = Records(end);
    EXPECT_EQ(8u, records.size());
    EXPECT_EQ(sizeof MVPluginProperties, end);
    EXPECT_EQ(1u, MVPluginProperties.list.version);
    const std::uint32_t keys[] = {kMVProperty_Name,         kMVProperty_CodeEntry,
                                  kMVProperty_Capabilities, kMVProperty_StartsEarly,
                                  kMVProperty_Adapter,      kMVProperty_Exports};
    for (std::size_t i = 0; i < std::size(keys); ++i)
    {
        EXPECT_EQ(static_cast<std::uint32_t>(kMVVendorID), records[i].property.vendorID) << i;
        EXPECT_EQ(keys[i], records[i].property.propertyKey) << i;
        EXPECT_EQ(0u, records[i].property.propertyID) << i;
    }
}

TEST(PropertiesMacros, ANameHasItsNUL)
{
    EXPECT_EQ(std::string("Blur\0", 5), Data(0));
}

TEST(PropertiesMacros, AnEntryIsAPascalString)
{
    EXPECT_EQ(2, Data(1)[0]);
    EXPECT_EQ("Go", Data(1).substr(1, 2));
}

TEST(PropertiesMacros, CapabilitiesAreTheFirstByte)
{
    EXPECT_EQ(5, Data(2)[0]);
    EXPECT_EQ("", Data(3));
    EXPECT_EQ(Word(2), Data(4));
}

TEST(PropertiesMacros, AnExportIsItsSizeNamePaddingAndVersion)
{
    EXPECT_EQ(Word(2) + Word(8) + std::string("abc\0", 4) + Word(7) + Word(12) +
                  std::string("Suite\0\0\0", 8) + Word(2),
              Data(5));
}

TEST(PropertiesMacros, OwnPropertiesHaveTheirKeys)
{
    std::size_t end = 0;
    const std::vector<Record> records = Records(end);
    EXPECT_EQ(0x41424344u, records[6].property.vendorID);
    EXPECT_EQ(0x45464748u, records[6].property.propertyKey);
    EXPECT_EQ(3u, records[6].property.propertyID);
    EXPECT_EQ(std::string("own\0", 4), Data(6));
    EXPECT_EQ(Word(-1), Data(7));
}

TEST(PropertiesMacros, TheListPassesTheCheckThatFilesPass)
{
    EXPECT_EQ(kMVNoError, MVCheckPropertyList(&MVPluginProperties, sizeof MVPluginProperties));
}

} // namespace
