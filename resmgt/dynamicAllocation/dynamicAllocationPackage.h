#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of arenas and their sources.
struct QV_RESMGT_API dynamicAllocation {};

} // namespace Qv::QvInit
