#pragma once

#include <cstdint>
#include <ctime>

namespace Qv {

/// The local time at `seconds` since the start of 1970, UTC. Raises ExSysErrorWindows where the
/// year is beyond what the fields hold.
std::tm osLocalTime( std::int64_t seconds );

} // namespace Qv
