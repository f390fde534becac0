#pragma once

#include <base/ownership/rcBase.h>
#include <base/ownership/rcPtr.h>

namespace Qv {

/// Shared pointer to an object derived from RCBase.
template <class T>
using RCShdPtr = RCPtr<T, Ownership::DeleteLast>;

} // namespace Qv
