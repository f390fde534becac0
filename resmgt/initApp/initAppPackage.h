#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of the application's init file.
struct QV_RESMGT_API initApp {};

} // namespace Qv::QvInit
