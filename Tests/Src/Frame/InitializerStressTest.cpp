#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "RKInitializer.h"
#include "ZOR/CountedObject.h"
#include "ZOR/Foundation.h"

namespace
{

TEST(InitializerStress, StartsAndStopsAThousandTimes)
{
    for (int turn = 0; turn < 1000; ++turn)
        RK::Initializer library;
}

class Factory : public ZOR::CountedObject<ZOR::IFileBufferFactory>
{
public:
    explicit Factory(std::atomic<int>& ioAlive)
        : mAlive(ioAlive)
    {
        ++mAlive;
    }
    ~Factory() override { --mAlive; }
    ZOR::IFileBufferRef CreateFileBuffer() override { return nullptr; }

private:
    std::atomic<int>& mAlive;
};

TEST(InitializerStress, StartsAndStopsWhileOtherThreadsDoAndWorkWithTheLibrary)
{
    std::atomic<bool> done{false};
    std::atomic<int> alive{0};
    std::atomic<int> wrong{0};
    std::thread worker(
        [&]
        {
            while (!done)
            {
                ZOR::Foundation::SetFileBufferFactory(
                    ZOR::IFileBufferFactoryRef(new Factory(alive)));
                const ZOR::IFileBufferFactoryRef factory = ZOR::Foundation::GetFileBufferFactory();
                if (factory && factory->CreateFileBuffer())
                    ++wrong;
            }
        });
    std::thread other(
        [&]
        {
            while (!done)
                RK::Initializer library;
        });
    for (int turn = 0; turn < 200; ++turn)
        RK::Initializer library;
    done = true;
    worker.join();
    other.join();
    EXPECT_EQ(0, wrong);

    {
        RK::Initializer library; // its stop drops what the worker has set last
    }
    EXPECT_EQ(0, alive);
}

} // namespace
