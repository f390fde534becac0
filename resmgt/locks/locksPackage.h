#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of locks, waiting, singletons and thread-local data.
struct QV_RESMGT_API locks {};

} // namespace Qv::QvInit
