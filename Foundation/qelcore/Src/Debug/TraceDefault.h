#pragma once

namespace qelcore
{
namespace debug
{

/// Whether lines without a sink go to standard error: whether any key of the trace is set.
bool TraceGoesToStandardError();

} // namespace debug
} // namespace qelcore
