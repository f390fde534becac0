#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of file monitoring.
struct QV_RESMGT_API fileMonitoring {};

} // namespace Qv::QvInit
