#include <tools/qvlock/command.h>

#include <base/text/printable.h>
#include <resmgt/fileLocks/osFileLock.h>
#include <tools/lockHolder.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
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
    std::optional<int> findStatus() const {
        int status = 0;
        if( ::waitpid( _id, &status, WNOHANG ) != _id ) {
            return std::nullopt;
        }
        return WIFEXITED( status ) ? WEXITSTATUS( status ) : SIGNAL_STATUS + WTERMSIG( status );
    }

private:
    [[noreturn]] void execute( char** arguments, pid_t parent, const sigset_t& signals ) const {
        // Without its parent nobody refreshes the lock.
        ::prctl( PR_SET_PDEATHSIG, SIGTERM );
        if( _hasGroup ) {
            ::setpgid( 0, 0 );
        }
        ::sigprocmask( SIG_SETMASK, &signals, nullptr );
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
};

/// Waits for the command's end. Ends it when the lock is lost.
int supervise( const Child& child, const OsFileLock& lock, const OsFilePath& file,
               const BlockedSignals& signals ) {
    std::optional<Clock::time_point> killTime;
    for( ;; ) {
        const int signal = ::sigtimedwait( &signals.getAll(), nullptr, &LOOK_INTERVAL );
        if( const std::optional<int> status = child.findStatus() ) {
            return killTime ? EXIT_FAILED : *status;
        }
        if( signal > 0 && signal != SIGCHLD ) {
            child.send( signal );
        }
        if( !lock.isHeld() && !killTime ) {
            tell( "the lock of '" + file.toString() + "' is lost; the command is ended" );
            child.send( SIGTERM );
            killTime = Clock::now() + GRACE;
        }
        if( killTime && Clock::now() >= *killTime ) {
            child.send( SIGKILL );
        }
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
    const OPtr<OsFileLock> lock( OsFileLock::lock( options.file, options.wait ) );
    if( lock.isNull() ) {
        const LockHolder holder = findLockHolder( options.file );
        tell( "'" + options.file.toString() + "' " +
              ( holder.state == LockHolder::FREE
                    ? "can't be locked: no lock file can be written there"
                    : "is locked by " + holder.describe() ) );
        return EXIT_FAILED;
    }
    const int status = supervise( Child( options.command, signals ), *lock, options.file, signals );
    if( lock->isHeld() ) {
        lock->release();
    }
    return status;
}

void printStatus( const Options& options ) {
    static constexpr const char* STATES[] = { "free", "alive", "dead" };
    const LockHolder holder = findLockHolder( options.file );
    std::printf( "file: %s\nstate: %s\n", Printable::makeLine( options.file.toString() ).c_str(),
                 STATES[holder.state] );
    if( holder.state != LockHolder::FREE ) {
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
