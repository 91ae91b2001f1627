#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/VisibleMounts.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

/// The sources of the visible ones of "id parent mount-point source".
std::vector<std::string> Visible(const std::vector<std::string>& inLines)
{
    std::vector<Platform::Mount> mounts;
    for (const std::string& line : inLines)
    {
        Platform::Mount mount;
        char path[64] = {};
        char source[64] = {};
        unsigned long id = 0, parent = 0;
        EXPECT_EQ(4, std::sscanf(line.c_str(), "%lu %lu %63s %63s", &id, &parent, path, source));
        mount.id = id;
        mount.parentID = parent;
        mount.mountPoint = path;
        mount.source = source;
        mounts.push_back(mount);
    }
    std::vector<std::string> sources;
    for (const Platform::Mount& mount : Platform::VisibleMounts(mounts))
        sources.push_back(mount.source);
    return sources;
}

TEST(VisibleMounts, AreAllOfATreeWithoutOverlaps)
{
    EXPECT_THAT(Visible({"2 1 / root", "3 2 /a a", "4 3 /a/b b", "5 2 /c c"}),
                ElementsAre("root", "a", "b", "c"));
    EXPECT_THAT(Visible({}), IsEmpty());
}

TEST(VisibleMounts, OfAStackOnOneFolderAreTheUppermost)
{
    EXPECT_THAT(Visible({"2 1 / root", "3 2 /a low", "4 3 /a middle", "5 4 /a top"}),
                ElementsAre("root", "top"));
    EXPECT_THAT(Visible({"2 1 / low", "3 2 / top", "4 3 /a a", "5 2 /b b"}),
                ElementsAre("top", "a"));
}

TEST(VisibleMounts, AreNotThoseBelowAFolderThatWasMountedOver)
{
    EXPECT_THAT(Visible({"2 1 / root", "3 2 /a/b hidden", "4 2 /a over"}),
                ElementsAre("root", "over"));
    EXPECT_THAT(Visible({"2 1 / root", "3 2 /a/b hidden", "4 2 /a over", "5 4 /a/b again"}),
                ElementsAre("root", "over", "again"));
    EXPECT_THAT(Visible({"2 1 / root", "3 2 /a/b over", "4 2 /ab ab"}),
                ElementsAre("root", "over", "ab"))
        << "a part of a name is no folder";
}

TEST(VisibleMounts, AreThoseWhoseParentIsOutOfSightToo)
{
    EXPECT_THAT(Visible({"3 99 /a a", "4 3 /a/b b"}), ElementsAre("a", "b"))
        << "without a root, as in a chroot";
    EXPECT_THAT(Visible({"2 2 / root", "3 98 /a a"}), ElementsAre("root", "a"))
        << "the root is its own parent";
}

TEST(VisibleMounts, EndAlsoForATableInACircle)
{
    Visible({"2 1 / root", "3 4 /a x", "4 3 /a y", "5 5 /a z"});
    Visible({"2 3 / x", "3 2 / y"});
}

} // namespace
