#pragma once

namespace qelcore
{
namespace threads
{
class RecursiveMutex;
} // namespace threads
} // namespace qelcore

namespace RK
{
namespace SDKSupport
{

/// Brings the plug-in host up, with one plug-in in it that stands for the library. A host that does not come
/// up is told to nobody: there are no plug-ins then.
void Initialize();
/// The end of what Initialize() brought up.
void Terminate();

/// What every function of GetMVBasicSuite() holds; its tag names the one that runs.
qelcore::threads::RecursiveMutex& BasicSuiteLock();

} // namespace SDKSupport
} // namespace RK
