#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of files, paths and processes.
struct QV_RESMGT_API osal {};

} // namespace Qv::QvInit
