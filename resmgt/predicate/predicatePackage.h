#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv::QvInit {

/// The tag of the package of predicates.
struct QV_RESMGT_API predicate {};

} // namespace Qv::QvInit
