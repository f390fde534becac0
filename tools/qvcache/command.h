#pragma once

#include <ostream>
#include <span>

namespace Qv::Cache {

/// The whole command: `arguments` are those after its name. Returns its exit status: 0; 1 when
/// something can't be done or a cache has faults; 2 for a wrong command line. What was wrong stands
/// on `errors` in one line.
///
/// Progress: of `verify`, drawn on `errors` when `isTerminal`.
int runCommand( std::span<const char* const> arguments, std::ostream& output, std::ostream& errors,
                bool isTerminal );

} // namespace Qv::Cache
