#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of XML.
struct QV_RESMGT_API xml {};

} // namespace Qv::QvInit
