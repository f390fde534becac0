#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of random number generators.
struct QV_RESMGT_API random {};

} // namespace Qv::QvInit
