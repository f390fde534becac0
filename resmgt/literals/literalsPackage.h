#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of strings, rates and timecodes.
struct QV_RESMGT_API literals {};

} // namespace Qv::QvInit
