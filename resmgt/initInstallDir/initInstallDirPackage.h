#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of the install directory.
struct QV_RESMGT_API initInstallDir {};

} // namespace Qv::QvInit
