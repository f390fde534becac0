#include <resmgt/threads/test/failingCall.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr int UNLIMITED = 99;

std::atomic<FailingCall*> active = nullptr;
std::atomic<int> niceLimit = UNLIMITED;
std::atomic<int> realTimeLimit = UNLIMITED;

} // namespace

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
    active = this;
}

FailingCall::~FailingCall() {
    active = nullptr;
}

RefusedPriorities::RefusedPriorities( int nice, int realTime ) {
    niceLimit = nice;
    realTimeLimit = realTime;
}

RefusedPriorities::~RefusedPriorities() {
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
    type __wrap_##name parameters {                                                                \
        const int error = pass;                                                                    \
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
QV_WRAPPED( int, -1, getrlimit, ( __rlimit_resource_t resource, rlimit* limit ), ( resource, limit ) || Qv::reportLimit( resource, limit ) )
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
}
#pragma GCC visibility pop
