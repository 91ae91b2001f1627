#pragma once

#include <cstdint>

namespace qelcore
{

/// The status of an operation whose failure is expected: negative for failure, 0 or positive for
/// success. The codes of a subsystem stand in its own header.
using Result = std::int32_t;

constexpr Result kResult_OK = 0;

/// General failure: the operation did not succeed, and no narrower code tells why.
constexpr Result kResult_GeneralFailure = static_cast<Result>(0xA00F0001u);

/// @return true if inResult is a failure.
constexpr bool Failed(Result inResult) noexcept
{
    return inResult < 0;
}

} // namespace qelcore
