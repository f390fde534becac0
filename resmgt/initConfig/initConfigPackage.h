#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of the configured directories.
struct QV_RESMGT_API initConfig {};

} // namespace Qv::QvInit
