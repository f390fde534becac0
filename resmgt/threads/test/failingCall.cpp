#include <resmgt/threads/test/failingCall.h>

#include <resmgt/logger/lgLog.h>
#include <tests/support/holdPoint.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

// A sanitizer calls some of the wrapped functions before it can watch anybody.
#define QV_UNWATCHED __attribute__( ( no_sanitize( "address", "undefined", "thread" ) ) )

namespace Qv {

namespace {

/// How many objects of this file's classes are alive. Not std::atomic, whose operations are
/// watched.
int nbAlive = 0;

QV_UNWATCHED bool isAnyAlive() {
    return __atomic_load_n( &nbAlive, __ATOMIC_ACQUIRE ) != 0;
}

void countAlive( int change ) {
    __atomic_fetch_add( &nbAlive, change, __ATOMIC_ACQ_REL );
}

constexpr int UNLIMITED = 99;

std::atomic<FailingCall*> active = nullptr;
std::atomic<int> niceLimit = UNLIMITED;
std::atomic<int> realTimeLimit = UNLIMITED;
thread_local constinit HoldPoint* clockPoint = nullptr;

} // namespace

void holdAtClock( HoldPoint& point ) {
    clockPoint = &point;
}

FailingCall::FailingCall( const char* name, int error, Times times, long nth )
    : _name( name )
    , _error( error )
    , _times( times )
    , _nth( nth ) {
    if( std::string( " " QV_WRAPPED_CALLS " " ).find( ' ' + std::string( name ) + ' ' ) ==
        std::string::npos ) {
        std::fprintf( stderr, "FailingCall: '%s' isn't among WRAPPED_CALLS\n", name );
        std::abort();
    }
    // The log's reader calls them too on its way to its body, where it lets a flush end.
    EXPECT_TRUE( LgLog::flush( 10 ) );
    active = this;
    countAlive( 1 );
}

FailingCall::~FailingCall() {
    countAlive( -1 );
    active = nullptr;
}

RefusedPriorities::RefusedPriorities( int nice, int realTime ) {
    niceLimit = nice;
    realTimeLimit = realTime;
    countAlive( 1 );
}

RefusedPriorities::~RefusedPriorities() {
    countAlive( -1 );
    niceLimit = UNLIMITED;
    realTimeLimit = UNLIMITED;
}

namespace {

int passNice( int value ) {
    return value < 20 - niceLimit ? EACCES : FailingCall::pass( "setpriority" );
}

int passPolicy( const sched_param* parameters ) {
    return parameters->sched_priority > realTimeLimit ? EPERM
                                                      : FailingCall::pass( "sched_setscheduler" );
}

int reportLimit( int resource, rlimit* limit ) {
    const int reported = resource == RLIMIT_NICE ? niceLimit : realTimeLimit;
    if( reported != UNLIMITED ) {
        limit->rlim_cur = static_cast<rlim_t>( reported );
    }
    return 0;
}

} // namespace

int FailingCall::pass( const char* name ) {
    FailingCall* const failing = active;
    if( failing == nullptr || std::strcmp( failing->_name, name ) != 0 ) {
        return 0;
    }
    const long nb = ++failing->_nbCalls;
    const bool fails = failing->_times == ONCE ? nb == failing->_nth : nb >= failing->_nth;
    return fails ? failing->_error : 0;
}

} // namespace Qv

// The function that the linker puts in the place of the system's `name`.
#define QV_WRAPPED( type, failure, name, parameters, arguments )                                   \
    QV_WRAPPED_AS( type, failure, name, parameters, arguments, Qv::FailingCall::pass( #name ) )
#define QV_WRAPPED_AS( type, failure, name, parameters, arguments, pass )                          \
    type __real_##name parameters;                                                                 \
    QV_UNWATCHED type __wrap_##name parameters {                                                   \
        const int error = Qv::isAnyAlive() ? pass : 0;                                             \
        if( error != 0 ) {                                                                         \
            errno = error;                                                                         \
            return failure;                                                                        \
        }                                                                                          \
        return __real_##name arguments;                                                            \
    }

#pragma GCC visibility push( default )
extern "C" {

// clang-format off
QV_WRAPPED( int, -1, fchmod, ( int file, mode_t mode ), ( file, mode ) )
QV_WRAPPED( int, -1, getpriority, ( __priority_which_t which, id_t who ), ( which, who ) )
QV_WRAPPED( int, -1, getrlimit, ( __rlimit_resource_t resource, rlimit* limit ), ( resource, limit ) || ( Qv::isAnyAlive() && Qv::reportLimit( resource, limit ) ) )
QV_WRAPPED( int, -1, getrusage, ( __rusage_who_t who, rusage* usage ), ( who, usage ) )
QV_WRAPPED( int, -1, memfd_create, ( const char* name, unsigned int flags ), ( name, flags ) )
QV_WRAPPED( DIR*, nullptr, opendir, ( const char* path ), ( path ) )
QV_WRAPPED( int, error, pthread_attr_init, ( pthread_attr_t* attributes ), ( attributes ) )
QV_WRAPPED( int, error, pthread_attr_setstacksize, ( pthread_attr_t* attributes, std::size_t size ), ( attributes, size ) )
QV_WRAPPED( int, error, pthread_create, ( pthread_t* thread, const pthread_attr_t* attributes, void* ( *body )( void* ), void* data ), ( thread, attributes, body, data ) )
QV_WRAPPED( int, error, pthread_getcpuclockid, ( pthread_t thread, clockid_t* clock ), ( thread, clock ) )
QV_WRAPPED( int, error, pthread_setname_np, ( pthread_t thread, const char* name ), ( thread, name ) )
QV_WRAPPED( dirent*, nullptr, readdir, ( DIR* directory ), ( directory ) )
QV_WRAPPED( int, -1, sched_getaffinity, ( pid_t thread, std::size_t size, cpu_set_t* set ), ( thread, size, set ) )
QV_WRAPPED( int, -1, sched_setaffinity, ( pid_t thread, std::size_t size, const cpu_set_t* set ), ( thread, size, set ) )
QV_WRAPPED_AS( int, -1, sched_setscheduler, ( pid_t thread, int policy, const sched_param* parameters ), ( thread, policy, parameters ), Qv::passPolicy( parameters ) )
QV_WRAPPED_AS( int, -1, setpriority, ( __priority_which_t which, id_t who, int value ), ( which, who, value ), Qv::passNice( value ) )
QV_WRAPPED( int, -1, uname, ( utsname* names ), ( names ) )
QV_WRAPPED( ssize_t, -1, write, ( int file, const void* data, std::size_t size ), ( file, data, size ) )
// clang-format on

// std::chrono::steady_clock::now, whose time point is its count of nanoseconds.
std::int64_t __real__ZNSt6chrono3_V212steady_clock3nowEv();
std::int64_t __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    if( Qv::HoldPoint* const point = std::exchange( Qv::clockPoint, nullptr ) ) {
        point->pass();
    }
    return __real__ZNSt6chrono3_V212steady_clock3nowEv();
}
}
#pragma GCC visibility pop
