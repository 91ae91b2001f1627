#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include "qelcore/Serialization.h"

namespace
{

using namespace qelcore::literals;
using namespace qelcore::serialization;

TEST(SerializationObject, NothingBecomesAnObjectWithItsFirstMember)
{
    boost::any object;
    AddToObject(object, "name"_utf8, 3ULL);

    EXPECT_EQ("{\"name\":3}"_utf8, GetJSONUTF8String(object, false));
}

TEST(SerializationObject, AMemberTakesThePlaceOfOneOfItsName)
{
    boost::any object;
    AddToObject(object, "name"_utf8, 3ULL);
    AddToObject(object, "name"_utf8, "text"_utf8);

    EXPECT_EQ("{\"name\":\"text\"}"_utf8, GetJSONUTF8String(object, false));
}

TEST(SerializationObject, WhatIsNoObjectTakesNoMember)
{
    boost::any number = 3ULL;
    EXPECT_THROW(AddToObject(number, "name"_utf8, 3ULL), boost::bad_any_cast);
    EXPECT_EQ(3ULL, boost::any_cast<unsigned long long>(number));
}

TEST(SerializationObject, AMemberIsSharedWithItsObject)
{
    const Variant object = JSONParse("{\"a\":1}"_utf8);
    ASSERT_TRUE(object);

    *GetVariantInObject(object, "a"_utf8) = 2ULL;

    EXPECT_EQ("{\"a\":2}"_utf8, GetJSONUTF8String(*object, false));
}

TEST(SerializationObject, NothingIsFoundInWhatIsNoObject)
{
    EXPECT_FALSE(GetVariantInObject(Variant(), "a"_utf8));
    EXPECT_FALSE(GetVariantInObject(boost::make_shared<boost::any>(), "a"_utf8));
    EXPECT_FALSE(GetVariantInObject(JSONParse("[1]"_utf8), "a"_utf8));
    EXPECT_FALSE(GetVariantInObject(JSONParse("{\"b\":1}"_utf8), "a"_utf8));
}

} // namespace
