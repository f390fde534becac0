#include <resmgt/profiling/src/posix/prClockPosix.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>

#include <cerrno>
#include <cmath>

#include <sys/prctl.h>
#include <time.h>

namespace Qv {

namespace {

double resolutionOf( clockid_t clock, const char* location ) {
    timespec resolution{};
    if( ::clock_getres( clock, &resolution ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, location, "clock_getres()" );
    }
    return static_cast<double>( resolution.tv_sec ) +
           static_cast<double>( resolution.tv_nsec ) * 1e-9;
}

} // namespace

std::int64_t PrClockPosix::now( const char* location ) {
    timespec time{};
    if( ::clock_gettime( CLOCK_MONOTONIC, &time ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, location, "clock_gettime()" );
    }
    return time.tv_sec * NS_PER_SECOND + time.tv_nsec;
}

double PrClockPosix::resolution( const char* location ) {
    return resolutionOf( CLOCK_MONOTONIC, location );
}

double PrClockPosix::systemTick( const char* location ) {
    return resolutionOf( CLOCK_MONOTONIC_COARSE, location );
}

std::int64_t PrClockPosix::toInterval( double seconds ) noexcept {
    if( !( seconds > 0.0 ) ) {
        return 0;
    }
    const double interval = std::round( seconds * static_cast<double>( NS_PER_SECOND ) );
    return interval < static_cast<double>( MAX_INTERVAL ) ? static_cast<std::int64_t>( interval )
                                                          : MAX_INTERVAL;
}

void PrClockPosix::sleepUntil( std::int64_t deadline, const char* location ) {
    const timespec time{ deadline / NS_PER_SECOND, deadline % NS_PER_SECOND };
    int error = 0;
    do {
        error = ::clock_nanosleep( CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr );
    } while( error == EINTR );
    if( error != 0 ) {
        errno = error;
        throw ExSysErrorWindows( QV_HERE, location, "clock_nanosleep()" );
    }
}

// Where the system refuses, as a sandbox may, sleeps are as long as they are without this.
PrClockPosix::LeastTimerSlack::LeastTimerSlack() noexcept
    : _before( ::prctl( PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL ) ) {
    if( _before > 0 ) {
        ::prctl( PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL );
    }
}

PrClockPosix::LeastTimerSlack::~LeastTimerSlack() {
    if( _before > 0 ) {
        ::prctl( PR_SET_TIMERSLACK, static_cast<unsigned long>( _before ), 0UL, 0UL, 0UL );
    }
}

} // namespace Qv
