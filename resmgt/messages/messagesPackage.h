#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of messages to the user.
struct QV_RESMGT_API messages {};

} // namespace Qv::QvInit
