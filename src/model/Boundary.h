// The edge of every exported call that can allocate: no exception may leave through the C
// interface, so each such call ends in `catch (...) { return sktFailAtBoundary(failed); }`.
#pragma once

#include "model/Platform.h"

/// The allocation-failure handler hears of the failed call; returns `failed`, the call's
/// failure result.
inline int sktFailAtBoundary(int failed) noexcept
{
    sktAllocFailedAtBoundary();
    return failed;
}
