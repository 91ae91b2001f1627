// The segment of the memory balancer, which every process of the user may overwrite.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Foundation/MemoryBalancer/Src/BalanceImage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    using namespace memorybalancer;
    BalanceImage image;
    std::memcpy(static_cast<void*>(&image), inBytes, std::min(inSize, sizeof image));
    Judge(image);

    // No input comes by a checksum that holds; with one, whatever passes must stay sound.
    Seal(image);
    if (Judge(image) != ImageCondition::kSound)
        return 0;
    for (const Slot& slot : image.slots)
    {
        if (slot.taken != 0)
            ToMember(slot);
    }
    Rebalance(image);
    Seal(image);
    if (Judge(image) != ImageCondition::kSound || Rebalance(image))
        std::abort();
    return 0;
}
