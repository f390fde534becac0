#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of the top package, which depends on all others.
struct QV_RESMGT_API resmgt {};

} // namespace Qv::QvInit
