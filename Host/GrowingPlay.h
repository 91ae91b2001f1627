#pragma once

#include "EventLoop.h"
#include "Options.h"
#include "Playback.h"

namespace RKHost
{

/// Plays the frames of a sequence once, each when its file has been written, and goes on with those that
/// are added meanwhile, until inOptions.mSeconds are over.
/// @throw Interrupted; what is thrown from within the loop.
PlayedFigures PlayWhileItGrows(const Options& inOptions, EventLoop& ioLoop, Playback& ioPlayback);

} // namespace RKHost
