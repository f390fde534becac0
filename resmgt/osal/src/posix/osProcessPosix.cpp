#include <resmgt/osal/osProcess.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/locks/lkLock.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <list>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {

struct OsProcess::Engine {
    /// The one child until it is waited for. A list, as that hands it on without allocation.
    std::list<pid_t> child;
    std::optional<ExitState> end;
};

namespace {

void check( int error, const char* program ) {
    if( error != 0 ) {
        errno = error;
        throw ExSysErrorWindows( QV_HERE, "OsProcess::start", program );
    }
}

/// The children whose objects were destroyed before their end was seen.
class Abandoned {
public:
    void add( std::list<pid_t>& child ) noexcept {
        const LkGuard<LkLock> guard( _lock );
        _children.splice( _children.end(), child );
    }
    void freeEnded() noexcept {
        const LkGuard<LkLock> guard( _lock );
        _children.remove_if( []( pid_t child ) {
            const pid_t ret = ::waitpid( child, nullptr, WNOHANG );
            return ret == child || ( ret < 0 && errno == ECHILD );
        } );
    }

private:
    LkLock _lock{ "OsProcess abandoned" };
    std::list<pid_t> _children QV_GUARDED_BY( _lock );
};

Abandoned& abandoned() {
    static Abandoned instance;
    return instance;
}

/// What the child does before it becomes the program.
class FileActions {
public:
    explicit FileActions( const char* program )
        : _program( program ) {
        check( ::posix_spawn_file_actions_init( &_actions ), program );
    }
    FileActions( const FileActions& ) = delete;
    FileActions& operator=( const FileActions& ) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy( &_actions ); }

    void openNullDevice( int fd ) {
        check( ::posix_spawn_file_actions_addopen( &_actions, fd, "/dev/null", O_RDWR, 0 ),
               _program );
    }
    void closeFrom( int fd ) {
        check( ::posix_spawn_file_actions_addclosefrom_np( &_actions, fd ), _program );
    }
    const posix_spawn_file_actions_t* get() const noexcept { return &_actions; }

private:
    const char* const _program;
    posix_spawn_file_actions_t _actions;
};

/// What the child is like.
class Attributes {
public:
    Attributes( const char* program, bool isDetached ) {
        check( ::posix_spawnattr_init( &_attributes ), program );
        sigset_t none;
        ::sigemptyset( &none );
        // What libraries ignore for themselves; a program expects to die of them.
        sigset_t byDefault = none;
        ::sigaddset( &byDefault, SIGPIPE );
        ::sigaddset( &byDefault, SIGXFSZ );
        // None of these can fail with these arguments.
        ::posix_spawnattr_setsigmask( &_attributes, &none );
        ::posix_spawnattr_setsigdefault( &_attributes, &byDefault );
        ::posix_spawnattr_setflags(
            &_attributes, static_cast<short>( POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                              ( isDetached ? POSIX_SPAWN_SETSID : 0 ) ) );
    }
    Attributes( const Attributes& ) = delete;
    Attributes& operator=( const Attributes& ) = delete;
    ~Attributes() { ::posix_spawnattr_destroy( &_attributes ); }

    const posix_spawnattr_t* get() const noexcept { return &_attributes; }

private:
    posix_spawnattr_t _attributes;
};

/// Whether the child is to have the descriptor: one that ends with the program is no stream, but a
/// file that happened to get the number of a closed one.
bool isStream( int fd ) {
    const int flags = ::fcntl( fd, F_GETFD );
    return flags >= 0 && ( flags & FD_CLOEXEC ) == 0;
}

} // namespace

OsProcess::OsProcess() {
    // They outlive every object.
    static_cast<void>( abandoned() );
}

OsProcess::~OsProcess() {
    if( !_engine.isNull() ) {
        abandoned().add( _engine->child );
    }
    abandoned().freeEnded();
}

void OsProcess::performStart( const char* const* argv, StartModes mode ) {
    abandoned().freeEnded();
    const char* const program = argv[0];
    FileActions actions( program );
    for( int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream ) {
        if( mode == DETACHED || !isStream( stream ) ) {
            actions.openNullDevice( stream );
        }
    }
    actions.closeFrom( STDERR_FILENO + 1 );
    const Attributes attributes( program, mode == DETACHED );
    OPtr<Engine> engine( new Engine );
    // The system doesn't change the arguments, it is older than const.
    check( ::posix_spawnp( &engine->child.emplace_back(), program, actions.get(), attributes.get(),
                           const_cast<char* const*>( argv ), environ ),
           program );
    _engine = engine;
}

OsProcess::ExitState OsProcess::performWait() {
    if( !_engine->end ) {
        // Once we have asked, its number may be another's.
        std::list<pid_t> child;
        child.swap( _engine->child );
        int status = 0;
        pid_t ret = -1;
        errno = ECHILD;
        if( !child.empty() ) {
            do {
                ret = ::waitpid( child.front(), &status, 0 );
            } while( ret < 0 && errno == EINTR );
        }
        if( ret < 0 ) {
            throw ExSysErrorWindows( QV_HERE, "OsProcess::wait" );
        }
        _engine->end = WIFSIGNALED( status ) ? ExitState{ 0, WTERMSIG( status ) }
                                             : ExitState{ WEXITSTATUS( status ), 0 };
    }
    return *_engine->end;
}

} // namespace Qv
