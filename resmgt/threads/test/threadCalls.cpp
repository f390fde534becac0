#include <resmgt/threads/test/threadCalls.h>

#include <resmgt/logger/lgLog.h>
#include <resmgt/osal/test/wrappedCalls.h>
#include <tests/support/holdPoint.h>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/utsname.h>

#include <atomic>
#include <cstdint>
#include <utility>

namespace Qv {

namespace {

constexpr int UNLIMITED = 99;
std::atomic<int> niceLimit = UNLIMITED;
std::atomic<int> realTimeLimit = UNLIMITED;

thread_local constinit HoldPoint* clockPoint = nullptr;

// The log's reader makes the calls too on its way to its body, where it lets a flush end.
const char* whenTheReaderRuns( const char* name ) {
    EXPECT_TRUE( LgLog::flush( 10 ) );
    return name;
}

int reportLimit( int resource, rlimit* limit ) {
    const int reported = resource == RLIMIT_NICE ? niceLimit : realTimeLimit;
    if( reported != UNLIMITED ) {
        limit->rlim_cur = static_cast<rlim_t>( reported );
    }
    return 0;
}

} // namespace

void holdAtClock( HoldPoint& point ) {
    clockPoint = &point;
}

ProcessFailingCall::ProcessFailingCall( const char* name, int error, Times times, long nth )
    : FailingCall( whenTheReaderRuns( name ), error, times, nth, PROCESS )
    , _nth( nth ) {}

RefusedPriorities::RefusedPriorities( int nice, int realTime )
    : _niceHook(
          "setpriority",
          [nice]( const SystemCall& call ) { return call.handle < 20 - nice ? EACCES : 0; },
          CallHook::PROCESS )
    , _realTimeHook(
          "sched_setscheduler",
          [realTime]( const SystemCall& call ) {
              return static_cast<int>( call.size ) > realTime ? EPERM : 0;
          },
          CallHook::PROCESS ) {
    niceLimit = nice;
    realTimeLimit = realTime;
}

RefusedPriorities::~RefusedPriorities() {
    niceLimit = UNLIMITED;
    realTimeLimit = UNLIMITED;
}

} // namespace Qv

// As in failingCalls.cpp.
#pragma GCC visibility push( default )
extern "C" {
// clang-format off
QV_WRAPPED( int, -1, getpriority, ( __priority_which_t which, id_t who ), ( which, who ) )
QV_WRAPPED_BY( int, -1, getrlimit, ( __rlimit_resource_t resource, rlimit* limit ), ( resource, limit ), Qv::NO_SIZE, , __real_getrlimit( resource, limit ) || ( Qv::CallHook::isAnyAlive() && Qv::reportLimit( resource, limit ) ) )
QV_WRAPPED( int, -1, getrusage, ( __rusage_who_t who, rusage* usage ), ( who, usage ) )
QV_WRAPPED( int, -1, memfd_create, ( const char* name, unsigned int flags ), ( name, flags ) )
QV_WRAPPED( int, error, pthread_attr_init, ( pthread_attr_t* attributes ), ( attributes ) )
QV_WRAPPED( int, error, pthread_attr_setstacksize, ( pthread_attr_t* attributes, std::size_t size ), ( attributes, size ) )
QV_WRAPPED( int, error, pthread_getcpuclockid, ( pthread_t thread, clockid_t* clock ), ( thread, clock ) )
QV_WRAPPED( int, error, pthread_setname_np, ( pthread_t thread, const char* name ), ( thread, name ) )
QV_WRAPPED( int, -1, sched_getaffinity, ( pid_t thread, std::size_t size, cpu_set_t* set ), ( thread, size, set ) )
QV_WRAPPED( int, -1, sched_setaffinity, ( pid_t thread, std::size_t size, const cpu_set_t* set ), ( thread, size, set ) )
QV_WRAPPED( int, -1, sched_setscheduler, ( pid_t thread, int policy, const sched_param* parameters ), ( thread, policy, parameters ) )
QV_WRAPPED_BY( int, -1, setpriority, ( __priority_which_t which, id_t who, int value ), ( value ), Qv::NO_SIZE, , __real_setpriority( which, who, value ) )
QV_WRAPPED( int, -1, uname, ( utsname* names ), ( names ) )
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
