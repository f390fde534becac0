#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of crash reports.
struct QV_RESMGT_API crashReport {};

} // namespace Qv::QvInit
