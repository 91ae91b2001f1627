#pragma once

#include "MoonVetch/Host.h"

/// Publishes the host's own tables in its list of suites. Stops at the first error.
MVResult MVBootstrap();
