#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// One child process.
///
/// Child:    gets this process's environment and working directory, and its standard streams alone:
///           no other descriptor, whether marked for that or not. A standard stream that is closed
///           here is the null device there. No signal is blocked in it.
/// Lifetime: a child that still runs when its object is destroyed goes on. What the system keeps of
///           it after its end is freed when a later OsProcess starts or is destroyed.
/// Threads:  an object belongs to one thread at a time; different ones to any.
/// Others:   whoever else in the process waits for any child, or ignores SIGCHLD, takes the end of
///           ours; then `wait` can't report it.
///
///     const char* const argv[] = { "ls", "-l", nullptr };
///     OsProcess process;
///     process.start( argv, OsProcess::ATTACHED );
///     if( !process.wait().isSuccess() ) ...
class QV_RESMGT_API OsProcess {
public:
    /// DETACHED: the child goes on in a session of its own, without terminal, its standard streams
    /// being the null device.
    enum StartModes : int { ATTACHED, DETACHED };

    /// How a process ended.
    struct ExitState {
        bool isSuccess() const noexcept { return status == 0 && signal == 0; }

        /// Its exit status, 0 if a signal ended it.
        int status;
        /// The signal that ended it, else 0.
        int signal;
    };

    OsProcess();
    OsProcess( const OsProcess& ) = delete;
    OsProcess& operator=( const OsProcess& ) = delete;
    ~OsProcess();

    /// Starts the program `argv[0]` and doesn't wait for it. A name without a separator is looked
    /// for in PATH. `argv` ends with a null.
    ///
    /// Errors: a program that can't be started raises ExSysErrorWindows with its name and the
    ///         system's reason; the object may be started again then. A second start of another
    ///         kind is an assertion, as are an `argv` without program and an unknown mode.
    void start( const char* const* argv, StartModes mode );
    /// Blocks until the child has ended, and reports how, as often as it is asked.
    ///
    /// Errors: ExSysErrorWindows when the end is lost, see above. Without a started child it is an
    ///         assertion.
    ExitState wait();

private:
    struct Engine;

    void performStart( const char* const* argv, StartModes mode );
    ExitState performWait();

    OPtr<Engine> _engine;
};

} // namespace Qv
