#pragma once

#include <string>

namespace RKHost
{

// Frames that failed, gathered in the library's error report, which a real application would also fill
// from its other layers.

/// Begins anew.
void ClearFrameErrors();

/// @param inFrame  from 0.
void ReportFrameError(const std::string& inPath, int inFrame, const std::string& inImporter,
                      const std::string& inError);

/// All that was reported as one text of several lines, and traces it too; empty if there was nothing.
std::string MergedFrameErrors();

} // namespace RKHost
