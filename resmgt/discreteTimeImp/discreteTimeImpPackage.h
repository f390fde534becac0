#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of the reference clock.
struct QV_RESMGT_API discreteTimeImp {};

} // namespace Qv::QvInit
