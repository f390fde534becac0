#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of the test harness.
struct QV_RESMGT_API testing {};

} // namespace Qv::QvInit
