#pragma once

#include "qelcore/Guid.h"

namespace RK
{
namespace Server
{

/// The identity of the media manager's class, as the library's frame knows it.
extern const qelcore::utility::Guid kMediaManagerClassID;

/// Called ahead of each step of start and stop, with the library's mutex held and the step's name; an
/// exception takes the place of one out of the step. For tests; null for none.
using StepHook = void (*)(const char* inStep);
void SetStepHook(StepHook inHook) noexcept;

} // namespace Server
} // namespace RK
