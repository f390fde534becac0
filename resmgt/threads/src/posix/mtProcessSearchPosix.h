#pragma once

#include <string>

#include <sys/types.h>

namespace Qv::MtProcessSearchPosix {

/// The number of a process of that name, 0 without one. Upper and lower case don't count, and of a
/// longer name the first 15 bytes, which are what the system shows of all.
///
/// The search for processes that go to real time along with this one. On this platform there is
/// none yet, so that nothing asks.
pid_t find( const std::string& name );

} // namespace Qv::MtProcessSearchPosix
