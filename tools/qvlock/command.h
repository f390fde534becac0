#pragma once

#include <tools/qvlock/options.h>

#include <csignal>

namespace Qv::Lock {

/// The signals that `runLocked` waits for, blocked in the calling thread and in those that it
/// starts from now on.
class BlockedSignals {
public:
    BlockedSignals();

    const sigset_t& getAll() const noexcept { return _signals; }
    /// Those that were blocked before; what a started command gets.
    const sigset_t& getFormer() const noexcept { return _former; }

private:
    sigset_t _signals;
    sigset_t _former;
};

/// No log file for each command, unless somebody asks for one. A started command doesn't see this.
/// REQUIRES: there is one thread.
void turnLogOff();

/// Runs the command under the lock and returns what is to be this one's exit status. REQUIRES: the
/// signals were blocked before the packages started.
int runLocked( const Options& options, const BlockedSignals& signals );

/// Prints who holds the lock.
void printStatus( const Options& options );

/// One sentence, without its full stop, on standard error.
void tell( const std::string& text );

} // namespace Qv::Lock
