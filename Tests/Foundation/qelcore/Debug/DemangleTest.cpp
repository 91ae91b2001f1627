#include "qelcore/Demangle.h"

#include <typeinfo>

#include <gtest/gtest.h>

namespace Sample
{
template <class T>
class Holder
{
};
} // namespace Sample

namespace
{

using qelcore::debug::DemangleName;

TEST(Demangle, ATypesNameBecomesReadable)
{
    EXPECT_EQ("Sample::Holder<int>", DemangleName(typeid(Sample::Holder<int>).name()));
    EXPECT_EQ("int", DemangleName(typeid(int).name()));
}

TEST(Demangle, AFunctionsNameBecomesReadable)
{
    EXPECT_EQ("ns::call(int)", DemangleName("_ZN2ns4callEi"));
}

TEST(Demangle, WhatIsNoMangledNameIsGivenBack)
{
    for (const char* text : {"", "main", "_Z", "_ZN2ns", "a name with blanks", "_ZN99999999999x"})
        EXPECT_EQ(text, DemangleName(text));
}

TEST(Demangle, NullGivesAnEmptyName)
{
    EXPECT_EQ("", DemangleName(nullptr));
}

} // namespace
