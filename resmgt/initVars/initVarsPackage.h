#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of configuration values and environment variables.
struct QV_RESMGT_API initVars {};

} // namespace Qv::QvInit
