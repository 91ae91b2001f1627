#pragma once

#include <iosfwd>
#include <string>

#include <RiverKit/RKDiskCacheSweepReport.h>

namespace RKHost
{

/// What a sweep did with each folder and volume, and what it could not do, as a table.
std::string SweepReportText(const RK::DiskCacheManager::SweepReport& inReport);

/// Prints a line for each file and folder that the report names: the rule, the bytes, when the file was last
/// used, and the path.
void PrintSweptNames(const RK::DiskCacheManager::SweepReport& inReport, std::ostream& ioOutput);

/// One line on a sweep under way.
std::string SweepProgressText(const RK::DiskCacheManager::SweepProgress& inProgress,
                              double inSeconds);

/// Whether something that a sweep should have done was refused. Limits that cannot be kept yet are no
/// failure, nor are folders that hold files of others.
bool HasFailures(const RK::DiskCacheManager::SweepReport& inReport);

} // namespace RKHost
