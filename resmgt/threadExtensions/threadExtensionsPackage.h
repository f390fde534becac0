#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of thread pools and request groups.
struct QV_RESMGT_API threadExtensions {};

} // namespace Qv::QvInit
