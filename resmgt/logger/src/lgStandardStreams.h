#pragma once

#include <string_view>

namespace Qv {

/// Writes to the process's standard error in one write, past everything that might hold a lock or
/// lead back to the log. Without a standard error nothing happens. No SIGPIPE or SIGXFSZ comes of
/// it.
///
/// Threads: any, also a forked child's.
void writeStandardError( std::string_view text ) noexcept;

/// Prints a line of the log by ExStdout::printAtomically, and returns whether it is printed. The
/// process's first failure is reported on standard error. No SIGPIPE comes of it.
bool writeStandardOutput( const char* text ) noexcept;

/// Whether the process has a standard output.
bool isStandardOutputThere() noexcept;

} // namespace Qv
