#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of tool tips.
struct QV_RESMGT_API tooltips {};

} // namespace Qv::QvInit
