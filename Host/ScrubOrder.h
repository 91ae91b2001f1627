#pragma once

#include <vector>

namespace RKHost
{

/// The frames that somebody asks for who drags the playhead to and fro: each for a while, then a few
/// further or back, and now and then far away. The same seed gives the same order everywhere.
/// @param inFrameCount  above 0; as many frames are asked for.
std::vector<int> ScrubOrder(int inFrameCount, int inSeed);

/// All frames in their order.
std::vector<int> StraightOrder(int inFrameCount);

} // namespace RKHost
