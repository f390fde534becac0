#pragma once

#include <base/ownership/rcBase.h>
#include <base/ownership/rcPtr.h>

namespace Qv {

/// Pointer to an engine, derived from RCBase, that is private to a handle class.
template <class T>
using RCPvtEngPtr = RCPtr<T, Ownership::DeleteLast>;

} // namespace Qv
