#include "ZOR/Foundation.h"

#include <gtest/gtest.h>

#include "ZOR/CountedObject.h"
#include "qelcore/ErrorManager.h"

namespace
{

using ZOR::IFileBufferFactoryRef;

class Factory : public ZOR::CountedObject<ZOR::IFileBufferFactory>
{
public:
    explicit Factory(int& ioDestroyed)
        : mDestroyed(ioDestroyed)
    {
    }
    ~Factory() override
    {
        // Letting go of a factory may come back to the foundation.
        ZOR::Foundation::GetFileBufferFactory();
        ++mDestroyed;
    }
    ZOR::IFileBufferRef CreateFileBuffer() override { return nullptr; }

private:
    int& mDestroyed;
};

class FoundationTest : public testing::Test
{
protected:
    FoundationTest() { ZOR::Foundation::Initialize(); }
    ~FoundationTest() override { ZOR::Foundation::Terminate(); }
    int mDestroyed = 0;
};

TEST_F(FoundationTest, TheFileBufferFactoryIsSharedUntilAnotherTakesItsPlace)
{
    IFileBufferFactoryRef factory(new Factory(mDestroyed));
    ZOR::Foundation::SetFileBufferFactory(factory);
    EXPECT_EQ(factory, ZOR::Foundation::GetFileBufferFactory());

    factory.reset();
    EXPECT_EQ(0, mDestroyed);
    ZOR::Foundation::SetFileBufferFactory(IFileBufferFactoryRef(new Factory(mDestroyed)));
    EXPECT_EQ(1, mDestroyed);
    ZOR::Foundation::SetFileBufferFactory(nullptr);
    EXPECT_EQ(2, mDestroyed);
    EXPECT_FALSE(ZOR::Foundation::GetFileBufferFactory());
}

TEST_F(FoundationTest, TheLastTerminateDropsTheFileBufferFactory)
{
    ZOR::Foundation::Initialize();
    ZOR::Foundation::SetFileBufferFactory(IFileBufferFactoryRef(new Factory(mDestroyed)));

    ZOR::Foundation::Terminate();
    EXPECT_EQ(0, mDestroyed);
    ZOR::Foundation::Terminate();
    EXPECT_EQ(1, mDestroyed);
    ZOR::Foundation::Initialize();
}

TEST_F(FoundationTest, ATerminateTooManyIsAViolatedContract)
{
    ZOR::Foundation::Terminate();
    EXPECT_THROW(ZOR::Foundation::Terminate(), qelcore::config::Error);
    ZOR::Foundation::Initialize();
}

} // namespace
