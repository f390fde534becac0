#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of storage for buffer contents.
struct QV_RESMGT_API content {};

} // namespace Qv::QvInit
