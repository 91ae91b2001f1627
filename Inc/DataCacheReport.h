#pragma once

#include "DataCacheInFilesystem.h"

namespace RK
{

/// Shows a store in the debug monitor's report "RK.DataCaches" for as long as the store lives.
void ShowInDataCacheReport(const DataCacheFolderPtr& inFolder);

} // namespace RK
