#pragma once

#include <base/ownership/rcBase.h>
#include <base/ownership/rcPtr.h>

namespace Qv {

/// Shared pointer of a handle class to its engine, derived from RCBaseWithDestroy; the last drop
/// calls `destroy`.
template <class T>
using RCShdEngPtr = RCPtr<T, Ownership::DestroyLast>;

} // namespace Qv
