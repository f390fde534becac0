#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of logging.
struct QV_RESMGT_API logger {};

} // namespace Qv::QvInit
