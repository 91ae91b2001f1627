#pragma once

#include <cstdlib>

#include "ImporterModule.h"

namespace RKHostTests
{

/// Loads the importer of this build; the test's own folder has none beside it.
inline RKHost::ImporterModule LoadBuiltImporter()
{
    setenv("RKHOST_IMPORTER", RKHOST_TEST_IMPORTER, 1);
    return RKHost::ImporterModule::Load();
}

} // namespace RKHostTests
