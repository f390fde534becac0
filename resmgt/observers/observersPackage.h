#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of subjects and observers.
struct QV_RESMGT_API observers {};

} // namespace Qv::QvInit
