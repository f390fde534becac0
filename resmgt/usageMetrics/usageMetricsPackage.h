#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of usage metrics.
struct QV_RESMGT_API usageMetrics {};

} // namespace Qv::QvInit
