// TryToCloseFileWithoutBlocking: which paths are one, and who has the last word.
#include "FileManagerFixture.h"

namespace
{

using namespace Testing;
using RK::FileManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CloseByPath : public FileManagerTest
{
protected:
    void RegisterPath(const qelcore::UTF16String& inPath, std::uint32_t inFileID)
    {
        FileManager::RegisterOpenFile(mOwner, inPath, inFileID, 1);
    }
    FileIDs AskedFor(const qelcore::UTF16String& inPath)
    {
        mOwner->onClose = [](std::uint32_t) { return 0; };
        mOwner->asked.clear();
        FileManager::TryToCloseFileWithoutBlocking(inPath);
        return mOwner->asked;
    }
};

TEST_F(CloseByPath, TakesLettersOfASCIIWithoutTheirCaseAndNoOthers)
{
    RegisterPath(u"/Clips/AZaz\u00C4.mov", 1);
    EXPECT_THAT(AskedFor(u"/cLIPS/azAZ\u00C4.MOV"), ElementsAre(1));
    EXPECT_THAT(AskedFor(u"/Clips/AZaz\u00E4.mov"), IsEmpty());
    EXPECT_THAT(AskedFor(u"/Clips/AZaz\u00C4.mo"), IsEmpty());
}

TEST_F(CloseByPath, TakesTheNeighboursOfTheLettersExactly)
{
    RegisterPath(u"/@[", 1);
    EXPECT_THAT(AskedFor(u"/`{"), IsEmpty());
    EXPECT_THAT(AskedFor(u"/@["), ElementsAre(1));
}

TEST_F(CloseByPath, NormalisesBothPaths)
{
    RegisterPath(u"/clips//a/./b.mov", 1);
    EXPECT_THAT(AskedFor(u"/clips/x/../a/b.mov/"), ElementsAre(1));
}

TEST_F(CloseByPath, AsksEveryOwnerOfThePathInTheOrderOfPriority)
{
    const WeakOwnerRef other(new WeakOwner);
    RegisterPath(u"/a", 5);
    RegisterPath(u"/A", 2);
    RegisterPath(u"/b", 3);
    FileManager::RegisterOpenFile(other, u"/a", 4, 1);

    EXPECT_EQ(qelcore::kResult_OK, FileManager::TryToCloseFileWithoutBlocking(u"/a"));
    EXPECT_THAT(mOwner->asked, ElementsAre(2, 5));
    EXPECT_THAT(other->asked, ElementsAre(4));
    EXPECT_EQ(1u, OpenCount());
}

TEST_F(CloseByPath, ReturnsTheFirstRefusalAndAsksNoFurther)
{
    for (const std::uint32_t fileID : {1u, 2u, 3u, 4u})
        RegisterPath(u"/a", fileID);
    mOwner->onClose = [](std::uint32_t inFileID)
    { return inFileID == 1 ? 0 : -100 - static_cast<int>(inFileID); };
    EXPECT_EQ(-102, FileManager::TryToCloseFileWithoutBlocking(u"/a"));
    EXPECT_THAT(mOwner->asked, ElementsAre(1, 2));
}

TEST_F(CloseByPath, ReturnsWhatTheLastOwnerAnsweredAndZeroIfThereIsNone)
{
    RegisterPath(u"/a", 1);
    RegisterPath(u"/a", 2);
    mOwner->onClose = [](std::uint32_t inFileID) { return static_cast<int>(inFileID) * 10; };
    EXPECT_EQ(20, FileManager::TryToCloseFileWithoutBlocking(u"/a"));
    EXPECT_EQ(0, FileManager::TryToCloseFileWithoutBlocking(u"/c"));
}

TEST_F(CloseByPath, DropsTheFilesOfDeadOwners)
{
    FileManager::RegisterOpenFile(WeakOwnerRef(new WeakOwner), u"/a", 1, 3);
    EXPECT_EQ(0, FileManager::TryToCloseFileWithoutBlocking(u"/a"));
    EXPECT_EQ(0u, OpenCount());
}

TEST_F(CloseByPath, DoesNotWaitForAPurgeAndWorksWithinOne)
{
    RegisterPath(u"/a", 1);
    RegisterPath(u"/b", 2);
    bool within = false;
    mOwner->onClose = [&within](std::uint32_t inFileID)
    {
        if (inFileID == 1)
            within = FileManager::TryToCloseFileWithoutBlocking(u"/b") == 2;
        return static_cast<int>(inFileID);
    };
    FileManager::FlushOpenFilesToTemporaryLimit(2);
    EXPECT_TRUE(within);
}

} // namespace
