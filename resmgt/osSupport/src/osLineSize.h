#pragma once

#include <cstddef>

namespace Qv {

enum class OsCache { L1, L2 };

/// What the system tells of the cache's line size in bytes; not above 0 when it doesn't know.
long osSystemLineSize( OsCache cache ) noexcept;

/// The line size that holds: `told` by the system if it is one, else that of the environment
/// variable, else 64.
std::size_t osLineSize( long told, const char* variable );

} // namespace Qv
