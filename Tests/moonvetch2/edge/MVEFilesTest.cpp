// Places of files, as a plug-in's specification tells them.
#include "edge/MVEFiles.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "MVHost.h"

namespace
{

std::string PathOf(const char* inText)
{
    MVURL* const url = MVCreateURL(inText);
    if (url == nullptr)
        return "(none)";
    const std::string path = MVGetURLPath(url);
    MVReleaseURL(url);
    return path;
}

MVFileSpecification SpecificationOf(const std::string& inPath)
{
    MVFileSpecification file;
    MVURL* const url = MVCreateURL(inPath.c_str());
    EXPECT_EQ(kMVNoError, mvEdgeFillFileSpecification(url, &file));
    MVReleaseURL(url);
    return file;
}

std::string NameOf(const std::string& inPath, std::size_t inSize)
{
    std::string buffer(inSize, 'x');
    MVURL* const url = MVCreateURL(inPath.c_str());
    EXPECT_EQ(kMVNoError, MVGetPluginSpecificationName(url, buffer.data(), inSize));
    MVReleaseURL(url);
    return buffer.c_str();
}

TEST(MVCreateURL, TakesAnAbsolutePathAsItIs)
{
    EXPECT_EQ("/a/b%20c.so", PathOf("/a/b%20c.so"));
    EXPECT_EQ("/", PathOf("/"));
    EXPECT_EQ("/a/\xD0\x9F", PathOf("/a/\xD0\x9F"));
}

TEST(MVCreateURL, DecodesThePathOfAURL)
{
    EXPECT_EQ("/a/b c.so", PathOf("file:///a/b%20c.so"));
    EXPECT_EQ("/\xD0\x9F", PathOf("file:///%D0%9f"));
    EXPECT_EQ("/a", PathOf("FILE://LocalHost/a"));
    EXPECT_EQ("/a%", PathOf("file:///a%25"));
}

TEST(MVCreateURL, WhatFollowsThePathIsNoPartOfIt)
{
    EXPECT_EQ("/a", PathOf("file:///a?b=/c"));
    EXPECT_EQ("/a", PathOf("file:///a#b"));
}

TEST(MVCreateURL, WhatIsNeitherIsNone)
{
    EXPECT_EQ("(none)", PathOf(nullptr));
    EXPECT_EQ("(none)", PathOf(""));
    EXPECT_EQ("(none)", PathOf("a/b"));
    EXPECT_EQ("(none)", PathOf("http://localhost/a"));
    EXPECT_EQ("(none)", PathOf("file://elsewhere/a"));
    EXPECT_EQ("(none)", PathOf("file://"));
    EXPECT_EQ("(none)", PathOf("file://localhost"));
}

TEST(MVCreateURL, APercentSignWithoutTwoDigitsOrForNULIsNone)
{
    EXPECT_EQ("(none)", PathOf("file:///a%"));
    EXPECT_EQ("(none)", PathOf("file:///a%2"));
    EXPECT_EQ("(none)", PathOf("file:///a%g0"));
    EXPECT_EQ("(none)", PathOf("file:///a%0x"));
    EXPECT_EQ("(none)", PathOf("file:///a%00b"));
}

TEST(MVURL, OnePlaceIsTheSameHoweverItWasWritten)
{
    MVURL* const path = MVCreateURL("/a b/c.plugin");
    MVURL* const url = MVCreateURL("file:///a%20b/c.plugin/");
    MVURL* const other = MVCreateURL("/a b/c");
    EXPECT_TRUE(mvEdgeIsSameURL(path, url));
    EXPECT_FALSE(mvEdgeIsSameURL(path, other));
    EXPECT_FALSE(mvEdgeIsSameURL(nullptr, nullptr));
    EXPECT_FALSE(mvEdgeIsSameURL(path, nullptr));
    for (MVURL* const each : {path, url, other})
        MVReleaseURL(each);
}

TEST(MVURL, LivesUntilAsManyReleasesAsRetains)
{
    MVURL* const url = MVCreateURL("/a");
    MVRetainURL(url);
    MVReleaseURL(url);
    EXPECT_STREQ("/a", MVGetURLPath(url));
    MVReleaseURL(url); // what is left or gone too early, the address sanitizer tells
    MVRetainURL(nullptr);
    MVReleaseURL(nullptr);
    EXPECT_EQ(nullptr, MVGetURLPath(nullptr));
}

TEST(MVFileSpecification, HoldsThePathAndNothingElse)
{
    const MVFileSpecification file = SpecificationOf("/a/b.so");
    EXPECT_STREQ("/a/b.so", file.path);
    for (std::size_t i = sizeof "/a/b.so"; i < sizeof file.path; ++i)
        ASSERT_EQ('\0', file.path[i]) << i;
    for (const unsigned char byte : file.reference)
        ASSERT_EQ(0, byte);
}

TEST(MVFileSpecification, ALongPathIsCutAtAWholeCharacter)
{
    EXPECT_EQ(std::string("/") + std::string(298, 'a'),
              SpecificationOf("/" + std::string(400, 'a')).path);
    // Two bytes a character: the first of one would be the last byte but one.
    std::string path = "/a";
    for (int i = 0; i < 200; ++i)
        path += "\xD0\x9F";
    EXPECT_EQ(path.substr(0, 298), SpecificationOf(path).path);
    EXPECT_EQ(std::string("/") + std::string(298, 'a'),
              SpecificationOf("/" + std::string(298, 'a')).path);
}

TEST(MVFileSpecification, WhatIsNoTextIsCutAllTheSame)
{
    const std::string path = "/" + std::string(400, '\x80');
    EXPECT_EQ(296u, std::string(SpecificationOf(path).path).size());
}

TEST(MVFileSpecification, WithoutAPlaceThereIsNoPath)
{
    MVFileSpecification file;
    EXPECT_EQ(kMVPathError, mvEdgeFillFileSpecification(nullptr, &file));
    EXPECT_STREQ("", file.path);
}

TEST(MVGetPluginSpecificationName, IsTheLastPartOfThePath)
{
    EXPECT_EQ("c.so", NameOf("/a/b/c.so", 20));
    EXPECT_EQ("c.plugin", NameOf("/a/b/c.plugin/", 20));
    EXPECT_EQ("/", NameOf("/", 20));
}

TEST(MVGetPluginSpecificationName, IsCutAtAWholeCharacterToFitTheBuffer)
{
    EXPECT_EQ("c.s", NameOf("/a/c.so", 4));
    EXPECT_EQ("\xD0\x9F", NameOf("/a/\xD0\x9F\xD0\x9F", 4));
    EXPECT_EQ("", NameOf("/a/\xD0\x9F", 1));
    EXPECT_EQ("\xD0\x9F", NameOf("/a/\xD0\x9F", 3));
}

TEST(MVGetPluginSpecificationName, WithoutAPlaceOrABufferItFails)
{
    char buffer[4] = "xyz";
    EXPECT_EQ(kMVPathError, MVGetPluginSpecificationName(nullptr, buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
    MVURL* const url = MVCreateURL("/a");
    EXPECT_EQ(kMVBadParameterError, MVGetPluginSpecificationName(url, nullptr, 4));
    EXPECT_EQ(kMVBadParameterError, MVGetPluginSpecificationName(url, buffer, 0));
    MVReleaseURL(url);
}

TEST(MVSetHostBundleRef, KeepsTheBundleUntilTheNext)
{
    MVURL* const bundle = MVCreateURL("/a");
    EXPECT_EQ(kMVNoError, MVSetHostBundleRef(bundle));
    MVReleaseURL(bundle);
    EXPECT_STREQ("/a", MVGetURLPath(gMVHostBundle));
    EXPECT_EQ(kMVNoError, MVSetHostBundleRef(bundle)); // the same again
    EXPECT_STREQ("/a", MVGetURLPath(gMVHostBundle));
    EXPECT_EQ(kMVNoError, MVSetHostBundleRef(nullptr));
    EXPECT_EQ(nullptr, gMVHostBundle);
}

TEST(MainBundle, IsTheRunningProgramsFile)
{
    MVURL* const url = mvEdgeCopyMainBundleURL();
    ASSERT_NE(nullptr, url);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe").string(), MVGetURLPath(url));
    MVReleaseURL(url);
}

} // namespace
