#include "ScrubOrder.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace RKHost
{

std::vector<int> ScrubOrder(int inFrameCount, int inSeed)
{
    constexpr unsigned kMostAsks = 6; // for one frame in a row
    constexpr unsigned kFarthest = 3; // frames, either way
    constexpr unsigned kStepsAJump = 16;
    std::mt19937 random(static_cast<unsigned>(inSeed)); // its distributions differ among libraries
    const auto below = [&](unsigned inLimit) { return static_cast<int>(random() % inLimit); };
    std::vector<int> order;
    int frame = 0;
    while (static_cast<int>(order.size()) < inFrameCount)
    {
        const int asks =
            std::min(1 + below(kMostAsks), inFrameCount - static_cast<int>(order.size()));
        order.insert(order.end(), static_cast<std::size_t>(asks), frame);
        const int step = below(2 * kFarthest + 1) - static_cast<int>(kFarthest);
        frame = below(kStepsAJump) == 0 ? below(static_cast<unsigned>(inFrameCount))
                                        : std::clamp(frame + step, 0, inFrameCount - 1);
    }
    return order;
}

std::vector<int> StraightOrder(int inFrameCount)
{
    std::vector<int> order(static_cast<std::size_t>(inFrameCount));
    std::iota(order.begin(), order.end(), 0);
    return order;
}

} // namespace RKHost
