#pragma once

#include <cstddef>

namespace Qv {

enum class OsCache { L1, L2 };

/// What the system reports as the cache's line size in bytes; not above 0 when it doesn't know.
long osSystemLineSize( OsCache cache ) noexcept;

/// The line size that holds: the system's, `reported`, if it is one, else that of the environment
/// variable, else 64.
std::size_t osLineSize( long reported, const char* variable );

} // namespace Qv
