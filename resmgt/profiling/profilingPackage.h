#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of counters, timers and profilers.
struct QV_RESMGT_API profiling {};

} // namespace Qv::QvInit
