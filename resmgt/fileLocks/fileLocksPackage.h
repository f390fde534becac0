#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of advisory file locks.
struct QV_RESMGT_API fileLocks {};

} // namespace Qv::QvInit
