#include <tools/qvlock/command.h>

#include <base/text/printable.h>
#include <resmgt/fileLocks/osFileLock.h>
#include <tools/lockHolder.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv::Lock {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int EXIT_FAILED = 1;
constexpr int EXIT_NOT_RUN = 126;
constexpr int EXIT_NOT_FOUND = 127;
constexpr int SIGNAL_STATUS = 128;

// In which the loss of a lock is noticed.
constexpr std::timespec LOOK_INTERVAL{ 0, 100'000'000 };
// Between SIGTERM and SIGKILL.
constexpr std::chrono::seconds GRACE( 5 );
// In seconds, between two tries to get the lock: each asks the server for its time.
constexpr double SHORTEST_PAUSE = 0.05;
constexpr double LONGEST_PAUSE = 0.999;

constexpr const char* LOG_VARIABLE = "QV_LOG_UNSPECIFIED";
// Written before there are other threads.
bool isLogTurnedOff = false;

/// The command, in a process group of its own unless it may want the terminal.
class Child {
public:
    Child( const std::vector<const char*>& command, const BlockedSignals& signals )
        : _hasGroup( ::isatty( STDIN_FILENO ) == 0 ) {
        std::vector<char*> arguments;
        for( const char* const word : command ) {
            arguments.push_back( const_cast<char*>( word ) );
        }
        arguments.push_back( nullptr );
        const pid_t parent = ::getpid();
        _id = ::fork();
        if( _id < 0 ) {
            throw std::runtime_error( std::string( "can't start a process: " ) +
                                      std::strerror( errno ) );
        }
        if( _id == 0 ) {
            execute( arguments.data(), parent, signals.getFormer() );
        }
        if( _hasGroup ) {
            // Whoever is first; the other's call fails.
            ::setpgid( _id, _id );
        }
    }

    void send( int signal ) const { ::kill( _hasGroup ? -_id : _id, signal ); }
    /// Its exit status, once it has ended.
    std::optional<int> findStatus() {
        int status = 0;
        if( !_status && ::waitpid( _id, &status, WNOHANG ) == _id ) {
            _status =
                WIFEXITED( status ) ? WEXITSTATUS( status ) : SIGNAL_STATUS + WTERMSIG( status );
        }
        return _status;
    }
    /// Whether some of its processes are left after its end, which keep the group's number.
    bool hasOthers() const { return _hasGroup && ::kill( -_id, 0 ) == 0; }

private:
    [[noreturn]] void execute( char** arguments, pid_t parent, const sigset_t& signals ) const {
        // Without its parent nobody refreshes the lock.
        ::prctl( PR_SET_PDEATHSIG, SIGTERM );
        if( _hasGroup ) {
            ::setpgid( 0, 0 );
        }
        ::sigprocmask( SIG_SETMASK, &signals, nullptr );
        if( isLogTurnedOff ) {
            ::unsetenv( LOG_VARIABLE );
        }
        if( ::getppid() == parent ) {
            ::execvp( arguments[0], arguments );
        }
        const int error = errno;
        std::fprintf( stderr, "qvlock: can't run '%s': %s\n", arguments[0],
                      std::strerror( error ) );
        ::_exit( error == ENOENT ? EXIT_NOT_FOUND : EXIT_NOT_RUN );
    }

    const bool _hasGroup;
    pid_t _id = -1;
    std::optional<int> _status;
};

/// Ends the command and all its processes.
void end( Child& child, const BlockedSignals& signals ) {
    const Clock::time_point killTime = Clock::now() + GRACE;
    child.send( SIGTERM );
    while( !child.findStatus() || child.hasOthers() ) {
        ::sigtimedwait( &signals.getAll(), nullptr, &LOOK_INTERVAL );
        if( Clock::now() >= killTime ) {
            child.send( SIGKILL );
        }
    }
}

/// Waits for the command's end. Ends it when the lock is lost.
int supervise( Child&& child, const OsFileLock& lock, const OsFilePath& file,
               const BlockedSignals& signals ) {
    for( ;; ) {
        const int signal = ::sigtimedwait( &signals.getAll(), nullptr, &LOOK_INTERVAL );
        const std::optional<int> status = child.findStatus();
        // Also if the command was quicker than this look: it has worked without the lock.
        if( !lock.isHeld() ) {
            tell( "the lock of '" + file.toString() + "' is lost; the command is ended" );
            end( child, signals );
            return EXIT_FAILED;
        }
        if( status ) {
            return *status;
        }
        if( signal > 0 && signal != SIGCHLD ) {
            child.send( signal );
        }
    }
}

/// Tries for the time that the options give. A signal ends that, and is in `signal` then.
OPtr<OsFileLock> lockOrStop( const Options& options, const BlockedSignals& signals, int& signal ) {
    const Clock::time_point start = Clock::now();
    double pause = SHORTEST_PAUSE;
    for( ;; ) {
        OPtr<OsFileLock> lock( OsFileLock::lock( options.file ) );
        const double left =
            options.wait - std::chrono::duration<double>( Clock::now() - start ).count();
        if( !lock.isNull() || left <= 0.0 ) {
            return lock;
        }
        const std::timespec limit{ 0, static_cast<long>( std::min( pause, left ) * 1e9 ) };
        signal = ::sigtimedwait( &signals.getAll(), nullptr, &limit );
        if( signal > 0 && signal != SIGCHLD ) {
            return lock;
        }
        signal = 0;
        pause = std::min( 2.0 * pause, LONGEST_PAUSE );
    }
}

std::string explainRefusal( const LockHolder& holder ) {
    switch( holder.state ) {
    case LockHolder::FREE:
        return "can't be locked: no lock file can be written there";
    case LockHolder::BLOCKED:
        return "can't be locked: what isn't a regular file lies where its lock file belongs";
    default:
        return "is locked by " + holder.describe();
    }
}

} // namespace

BlockedSignals::BlockedSignals() {
    ::sigemptyset( &_signals );
    for( const int signal : { SIGCHLD, SIGHUP, SIGINT, SIGTERM } ) {
        ::sigaddset( &_signals, signal );
    }
    ::sigprocmask( SIG_BLOCK, &_signals, &_former );
}

int runLocked( const Options& options, const BlockedSignals& signals ) {
    int signal = 0;
    const OPtr<OsFileLock> lock = lockOrStop( options, signals, signal );
    if( signal > 0 ) {
        return SIGNAL_STATUS + signal;
    }
    if( lock.isNull() ) {
        tell( "'" + options.file.toString() + "' " +
              explainRefusal( findLockHolder( options.file ) ) );
        return EXIT_FAILED;
    }
    const int status = supervise( Child( options.command, signals ), *lock, options.file, signals );
    if( lock->isHeld() ) {
        lock->release();
    }
    return status;
}

void turnLogOff() {
    isLogTurnedOff = std::getenv( LOG_VARIABLE ) == nullptr;
    ::setenv( LOG_VARIABLE, "--", 0 );
}

void printStatus( const Options& options ) {
    static constexpr const char* STATES[] = { "free", "alive", "dead", "blocked" };
    const LockHolder holder = findLockHolder( options.file );
    std::printf( "file: %s\nstate: %s\n", Printable::makeLine( options.file.toString() ).c_str(),
                 STATES[holder.state] );
    if( holder.state == LockHolder::ALIVE || holder.state == LockHolder::DEAD ) {
        std::printf(
            "user: %s\nhost: %s\nprocess: %s\nbuild: %s\nsince: %s\nrefreshed: %.1f s ago\n",
            holder.user.c_str(), holder.host.c_str(), holder.process.c_str(), holder.build.c_str(),
            holder.since.c_str(), holder.age );
    }
}

void tell( const std::string& text ) {
    std::fprintf( stderr, "qvlock: %s\n", Printable::makeLine( text ).c_str() );
}

} // namespace Qv::Lock
