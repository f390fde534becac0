#include <resmgt/threads/src/posix/mtThreadTimesPosix.h>

#include <base/failure/assertions.h>
#include <resmgt/threads/mtThreadTimes.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr std::uint64_t UNITS_PER_SECOND = 10'000'000;
constexpr std::uint64_t UNITS_PER_MICROSECOND = 10;
constexpr long NANOSECONDS_PER_UNIT = 100;

std::uint64_t toUnits( const timeval& time ) {
    return static_cast<std::uint64_t>( time.tv_sec ) * UNITS_PER_SECOND +
           static_cast<std::uint64_t>( time.tv_usec ) * UNITS_PER_MICROSECOND;
}

std::uint64_t toUnits( const timespec& time ) {
    return static_cast<std::uint64_t>( time.tv_sec ) * UNITS_PER_SECOND +
           static_cast<std::uint64_t>( time.tv_nsec / NANOSECONDS_PER_UNIT );
}

/// From the 15th field of the thread's stat file; the second, in parentheses, may hold anything.
std::uint64_t readKernelTime( pid_t number ) {
    std::ifstream file( "/proc/self/task/" + std::to_string( number ) + "/stat" );
    std::string line;
    std::getline( file, line );
    std::istringstream fields( line.substr( std::min( line.rfind( ')' ) + 1, line.size() ) ) );
    std::string skipped;
    for( int field = 3; field < 15; ++field ) {
        fields >> skipped;
    }
    std::uint64_t ticks = 0;
    fields >> ticks;
    return ticks * UNITS_PER_SECOND / static_cast<std::uint64_t>( ::sysconf( _SC_CLK_TCK ) );
}

} // namespace

void MtThreadTimesPosix::readOfCurrent( std::uint64_t& kernel, std::uint64_t& user ) {
    rusage usage{};
    QV_SYS_ASSERT( ::getrusage( RUSAGE_THREAD, &usage ) == 0, errno );
    kernel = toUnits( usage.ru_stime );
    user = toUnits( usage.ru_utime );
}

void MtThreadTimesPosix::readOf( pthread_t handle, pid_t number, std::uint64_t& kernel,
                                 std::uint64_t& user ) {
    clockid_t clock{};
    QV_SYS_CALL_ASSERT( ::pthread_getcpuclockid( handle, &clock ) );
    timespec both{};
    QV_SYS_ASSERT( ::clock_gettime( clock, &both ) == 0, errno );
    kernel = std::min( readKernelTime( number ), toUnits( both ) );
    user = toUnits( both ) - kernel;
}

MtThreadTimes MtThreadTimes::timeSplit() {
    MtThreadTimes times;
    MtThreadTimesPosix::readOfCurrent( times._kernelTime, times._userTime );
    times._wallClock = performReadWallClock();
    return times;
}

std::uint64_t MtThreadTimes::performReadWallClock() {
    using Unit = std::chrono::duration<std::uint64_t, std::ratio<1, UNITS_PER_SECOND>>;
    return std::chrono::duration_cast<Unit>( std::chrono::steady_clock::now().time_since_epoch() )
        .count();
}

} // namespace Qv
