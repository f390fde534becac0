#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of threads and their priorities.
struct QV_RESMGT_API threads {};

} // namespace Qv::QvInit
