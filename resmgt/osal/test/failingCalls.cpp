#include <resmgt/osal/test/wrappedCalls.h>

#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <utility>

namespace Qv {

namespace {

thread_local CallHook* newest = nullptr;
// What a hook calls itself isn't seen by any.
thread_local bool isInside = false;

std::atomic<OtherVolume*> otherVolume = nullptr;

// Not std::atomic, whose operations are watched.
int nbAlive = 0;

std::mutex processLock;
// Changed with the lock held; without a hook nobody takes it.
std::atomic<CallHook*> newestOfProcess = nullptr;

void checkIsWrapped( const std::string& name ) {
    if( std::string( " " QV_WRAPPED_CALLS " " ).find( " " + name + " " ) == std::string::npos ) {
        std::fprintf( stderr, "CallHook: '%s' isn't among WRAPPED_CALLS\n", name.c_str() );
        std::abort();
    }
}

} // namespace

CallHook::CallHook( const char* name, Hook hook, Scope scope )
    : _name( name )
    , _hook( std::move( hook ) )
    , _scope( scope )
    , _outer( nullptr ) {
    if( name != nullptr ) {
        checkIsWrapped( name );
    }
    __atomic_fetch_add( &nbAlive, 1, __ATOMIC_ACQ_REL );
    if( scope == THIS_THREAD ) {
        _outer = std::exchange( newest, this );
    } else {
        const std::lock_guard guard( processLock );
        _outer = newestOfProcess.exchange( this );
    }
}

CallHook::~CallHook() {
    __atomic_fetch_sub( &nbAlive, 1, __ATOMIC_ACQ_REL );
    if( _scope == THIS_THREAD ) {
        newest = _outer;
    } else {
        const std::lock_guard guard( processLock );
        newestOfProcess = _outer;
    }
}

QV_UNWATCHED bool CallHook::isAnyAlive() {
    return __atomic_load_n( &nbAlive, __ATOMIC_ACQUIRE ) != 0;
}

int CallHook::pass( SystemCall& call ) {
    if( std::exchange( isInside, true ) ) {
        return 0;
    }
    const struct Outside {
        ~Outside() {
            isInside = false;
            errno = before;
        }
        int before;
    } outside{ errno };
    int error = passChain( newest, call );
    if( error == 0 && newestOfProcess != nullptr ) {
        const std::lock_guard guard( processLock );
        error = passChain( newestOfProcess, call );
    }
    return error;
}

int CallHook::passChain( CallHook* first, SystemCall& call ) {
    int error = 0;
    for( CallHook* hook = first; hook != nullptr && error == 0; hook = hook->_outer ) {
        if( hook->_name == nullptr || std::string( hook->_name ) == call.name ) {
            call.number = ++hook->_nbCalls;
            error = hook->_hook( call );
        }
    }
    return error;
}

FailingCall::FailingCall( const char* name, int error, Times times, long nth, Scope scope )
    : CallHook(
          name,
          [error, times, nth]( const SystemCall& call ) {
              const bool fails = call.number == nth || ( times == FOR_GOOD && call.number > nth );
              return fails ? error : 0;
          },
          scope ) {}

OtherVolume::OtherVolume() {
    otherVolume = this;
}

OtherVolume::~OtherVolume() {
    otherVolume = nullptr;
}

int OtherVolume::open( const char* path, int flags, unsigned int mode ) {
    return static_cast<int>( ::syscall( SYS_openat, AT_FDCWD, path, flags, mode ) );
}

int OtherVolume::statx( int folder, const char* path, int flags, unsigned int mask,
                        struct statx& facts ) {
    return static_cast<int>( ::syscall( SYS_statx, folder, path, flags, mask, &facts ) );
}

void forEachFailingCall( int error, const std::function<void()>& operation,
                         const std::function<void( const FailedRun& run )>& check,
                         CallHook::Scope scope ) {
    for( const auto times : { FailingCall::ONCE, FailingCall::FOR_GOOD } ) {
        FailedRun run{ "", 0, times };
        while( run.call != nullptr ) {
            run.call = nullptr;
            ++run.number;
            const int nbBefore = countDescriptors();
            {
                const CallHook hook(
                    nullptr,
                    [&]( const SystemCall& call ) {
                        if( call.number < run.number ||
                            ( call.number > run.number && times == FailingCall::ONCE ) ) {
                            return 0;
                        }
                        run.call = run.call == nullptr ? call.name : run.call;
                        return error;
                    },
                    scope );
                operation();
            }
            // Sanitizers open pipes for moments, on any thread.
            waitUntil( [&] { return countDescriptors() <= nbBefore; },
                       ( "the end of all descriptors after call " + std::to_string( run.number ) +
                         " failed: " + ( run.call == nullptr ? "none" : run.call ) )
                           .c_str() );
            check( run );
        }
    }
}

} // namespace Qv

// Of a call that goes to the other volume, if there is one.
#define QV_WRAPPED_OF_VOLUME( name, parameters, arguments, volumeCall )                            \
    QV_WRAPPED_BY( int, -1, name, parameters, arguments, Qv::NO_SIZE, ,                            \
                   Qv::otherVolume != nullptr ? Qv::otherVolume.load()->volumeCall                 \
                                              : __real_##name arguments )

// The linker has shared libraries refer to these too, a sanitizer's for instance, whose own calls
// they never get.
#pragma GCC visibility push( default )
extern "C" {

// clang-format off
QV_WRAPPED_SIZED( ssize_t, pread, ( int handle, void* to, std::size_t size, off_t at ), ( handle, to, size, at ) )
QV_WRAPPED_SIZED( ssize_t, pwrite, ( int handle, const void* from, std::size_t size, off_t at ), ( handle, from, size, at ) )
QV_WRAPPED_SIZED( ssize_t, read, ( int handle, void* to, std::size_t size ), ( handle, to, size ) )
QV_WRAPPED_SIZED( ssize_t, write, ( int handle, const void* from, std::size_t size ), ( handle, from, size ) )
QV_WRAPPED_SIZED( int, fallocate, ( int handle, int mode, off_t at, off_t size ), ( handle, mode, at, size ) )

QV_WRAPPED_RELEASE( close, ( int handle ), ( handle ) )
QV_WRAPPED_RELEASE( closedir, ( DIR* directory ), ( directory ) )
QV_WRAPPED_RELEASE( munmap, ( void* address, std::size_t size ), ( address, size ) )

QV_WRAPPED( int, -1, chdir, ( const char* path ), ( path ) )
QV_WRAPPED( int, -1, chmod, ( const char* path, mode_t mode ), ( path, mode ) )
QV_WRAPPED( int, error, clock_nanosleep, ( clockid_t clock, int flags, const struct timespec* time, struct timespec* left ), ( clock, flags, time, left ) )
QV_WRAPPED( int, -1, dup2, ( int from, int to ), ( from, to ) )
QV_WRAPPED( int, -1, eventfd, ( unsigned int count, int flags ), ( count, flags ) )
QV_WRAPPED( int, -1, faccessat, ( int folder, const char* path, int how, int flags ), ( folder, path, how, flags ) )
QV_WRAPPED( int, -1, fchmod, ( int handle, mode_t mode ), ( handle, mode ) )
QV_WRAPPED( int, -1, fchown, ( int handle, uid_t owner, gid_t group ), ( handle, owner, group ) )
QV_WRAPPED( int, -1, fdatasync, ( int handle ), ( handle ) )
QV_WRAPPED( DIR*, nullptr, fdopendir, ( int handle ), ( handle ) )
QV_WRAPPED( int, -1, flock, ( int handle, int operation ), ( handle, operation ) )
QV_WRAPPED( pid_t, -1, fork, (), () )
QV_WRAPPED( int, -1, fstat, ( int handle, struct stat* facts ), ( handle, facts ) )
QV_WRAPPED( int, -1, fstatat, ( int folder, const char* path, struct stat* facts, int flags ), ( folder, path, facts, flags ) )
QV_WRAPPED( int, -1, fstatfs, ( int handle, struct statfs* facts ), ( handle, facts ) )
QV_WRAPPED( int, -1, fsync, ( int handle ), ( handle ) )
QV_WRAPPED( int, -1, ftruncate, ( int handle, off_t size ), ( handle, size ) )
QV_WRAPPED( int, -1, futimens, ( int handle, const struct timespec* times ), ( handle, times ) )
QV_WRAPPED( char*, nullptr, getcwd, ( char* path, std::size_t space ), ( path, space ) )
QV_WRAPPED( int, -1, getifaddrs, ( struct ifaddrs** first ), ( first ) )
QV_WRAPPED( int, -1, gethostname, ( char* name, std::size_t space ), ( name, space ) )
QV_WRAPPED( int, error, getpwuid_r, ( uid_t id, struct passwd* entry, char* buffer, std::size_t space, struct passwd** found ), ( id, entry, buffer, space, found ) )
QV_WRAPPED( int, -1, link, ( const char* from, const char* to ), ( from, to ) )
QV_WRAPPED( int, -1, linkat, ( int fromFolder, const char* from, int toFolder, const char* to, int flags ), ( fromFolder, from, toFolder, to, flags ) )
QV_WRAPPED( off_t, -1, lseek, ( int handle, off_t offset, int mode ), ( handle, offset, mode ) )
QV_WRAPPED( int, -1, lstat, ( const char* path, struct stat* facts ), ( path, facts ) )
QV_WRAPPED( int, -1, mkdir, ( const char* path, mode_t mode ), ( path, mode ) )
QV_WRAPPED( int, -1, mkdirat, ( int folder, const char* path, mode_t mode ), ( folder, path, mode ) )
QV_WRAPPED( void*, MAP_FAILED, mmap, ( void* hint, std::size_t space, int access, int flags, int handle, off_t at ), ( hint, space, access, flags, handle, at ) )
QV_WRAPPED( DIR*, nullptr, opendir, ( const char* path ), ( path ) )
QV_WRAPPED( int, -1, pipe2, ( int* ends, int flags ), ( ends, flags ) )
QV_WRAPPED( int, -1, poll, ( struct pollfd* which, nfds_t count, int limit ), ( which, count, limit ) )
QV_WRAPPED( int, error, posix_spawnp, ( pid_t* child, const char* program, const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment ), ( child, program, actions, attributes, arguments, environment ) )
QV_WRAPPED( struct dirent*, nullptr, readdir, ( DIR* directory ), ( directory ) )
QV_WRAPPED( ssize_t, -1, readlink, ( const char* path, char* text, std::size_t space ), ( path, text, space ) )
QV_WRAPPED( char*, nullptr, realpath, ( const char* path, char* place ), ( path, place ) )
QV_WRAPPED( int, -1, rename, ( const char* from, const char* to ), ( from, to ) )
QV_WRAPPED( int, -1, renameat, ( int fromFolder, const char* from, int toFolder, const char* to ), ( fromFolder, from, toFolder, to ) )
QV_WRAPPED( int, -1, renameat2, ( int fromFolder, const char* from, int toFolder, const char* to, unsigned int flags ), ( fromFolder, from, toFolder, to, flags ) )
QV_WRAPPED( int, -1, rmdir, ( const char* path ), ( path ) )
QV_WRAPPED( int, -1, select, ( int end, fd_set* toRead, fd_set* toWrite, fd_set* other, struct timeval* limit ), ( end, toRead, toWrite, other, limit ) )
QV_WRAPPED( int, -1, stat, ( const char* path, struct stat* facts ), ( path, facts ) )
QV_WRAPPED( int, -1, statfs, ( const char* path, struct statfs* facts ), ( path, facts ) )
QV_WRAPPED( int, -1, statvfs, ( const char* path, struct statvfs* facts ), ( path, facts ) )
QV_WRAPPED_OF_VOLUME( statx, ( int folder, const char* path, int flags, unsigned mask, struct statx* facts ), ( folder, path, flags, mask, facts ), statx( folder, path, flags, mask, *facts ) )
QV_WRAPPED( int, -1, unlink, ( const char* path ), ( path ) )
QV_WRAPPED( int, -1, unlinkat, ( int folder, const char* path, int flags ), ( folder, path, flags ) )
QV_WRAPPED( pid_t, -1, waitpid, ( pid_t child, int* status, int options ), ( child, status, options ) )

// These take one more argument or not, which goes on as the system takes it.
QV_WRAPPED( int, -1, fcntl, ( int handle, int command, void* argument ), ( handle, command, argument ) )
QV_WRAPPED_OF_VOLUME( open, ( const char* path, int flags, mode_t mode ), ( path, flags, mode ), open( path, flags, mode ) )
QV_WRAPPED( int, -1, openat, ( int folder, const char* path, int flags, mode_t mode ), ( folder, path, flags, mode ) )
// clang-format on

} // extern "C"
#pragma GCC visibility pop
