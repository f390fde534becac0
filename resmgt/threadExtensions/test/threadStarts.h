#pragma once

namespace Qv {

/// How many more threads the system grants the library; counts down.
constexpr int UNLIMITED = -1;
inline int nbStartsLeft = UNLIMITED;

} // namespace Qv
