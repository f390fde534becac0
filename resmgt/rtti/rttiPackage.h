#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of run-time types.
struct QV_RESMGT_API rtti {};

} // namespace Qv::QvInit
