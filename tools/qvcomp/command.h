#pragma once

#include <ostream>
#include <span>

namespace Qv::Comp {

/// The whole command: `arguments` are those after its name. Returns its exit status: 0, 1 when the
/// work can't be done, 2 for a wrong command line; what was wrong stands on `errors` in one line.
///
/// REQUIRES: packages are started, this command's among them.
/// Files:   however it ends, nothing is left of its tiles on the disk and of outputs that aren't
///          complete, and no thread. A report that can't be written is a failure, too; the outputs
///          stay then.
/// Signals: SIGINT, SIGTERM and SIGHUP end it like a failure.
/// Progress: drawn on `errors` when `isTerminal`.
int runCommand( std::span<const char* const> arguments, std::ostream& output, std::ostream& errors,
                bool isTerminal );

} // namespace Qv::Comp
