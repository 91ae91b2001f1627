#pragma once

#include <cstdint>

#include "MoonVetch/Host.h"

/// Sends "Plug-in Purge" to all loaded plug-ins that answer it.
MVResult mvFlushPluginCaches(std::int32_t* outFlushed);
