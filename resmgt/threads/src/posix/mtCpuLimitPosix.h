#pragma once

#include <string>

namespace Qv::MtCpuLimitPosix {

/// How many processors' time the process's groups (cgroups, of either version) grant it, rounded
/// up; 0 where they set no limit. Every group counts, from the process's own up to the topmost that
/// is seen. `root` stands before all paths, for tests.
int read( const std::string& root = "" );

} // namespace Qv::MtCpuLimitPosix
