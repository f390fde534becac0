#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of what the operating-system layer stands on.
struct QV_RESMGT_API osSupport {};

} // namespace Qv::QvInit
