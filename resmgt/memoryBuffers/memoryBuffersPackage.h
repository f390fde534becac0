#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of managed buffers.
struct QV_RESMGT_API memoryBuffers {};

} // namespace Qv::QvInit
