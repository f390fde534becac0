#include <resmgt/profiling/src/posix/sleeperPosix.h>

#include <resmgt/profiling/src/posix/prClockPosix.h>

#include <cmath>

namespace Qv {

namespace {

double toSeconds( std::int64_t nanoseconds ) noexcept {
    return static_cast<double>( nanoseconds ) * 1e-9;
}

} // namespace

OPtrRet<Sleeper> Sleeper::performCreate() {
    return OPtr<Sleeper>( new SleeperPosix );
}

OPtrRet<Sleeper> Sleeper::performCreateHighRes() {
    return OPtr<Sleeper>( new SleeperHighResPosix );
}

double SleeperPosix::getCurrentTime() const {
    return toSeconds( PrClockPosix::now( "SleeperPosix::getCurrentTime()" ) );
}

double SleeperPosix::getResolution() const {
    return PrClockPosix::systemTick( "SleeperPosix::getResolution()" );
}

void SleeperPosix::sleep( double seconds ) const {
    const double milliseconds = std::trunc( seconds * 1000.0 );
    const std::int64_t interval = PrClockPosix::toInterval( milliseconds / 1000.0 );
    if( interval == 0 ) {
        return;
    }
    constexpr const char* LOCATION = "SleeperPosix::sleep()";
    PrClockPosix::sleepUntil( PrClockPosix::now( LOCATION ) + interval, LOCATION );
}

double SleeperHighResPosix::getCurrentTime() const {
    return toSeconds( PrClockPosix::now( "SleeperHighResWindows::getCurrentTime()" ) );
}

double SleeperHighResPosix::getResolution() const {
    return PrClockPosix::resolution( "SleeperHighResWindows::getResolution()" );
}

void SleeperHighResPosix::sleep( double seconds ) const {
    const std::int64_t interval = PrClockPosix::toInterval( seconds );
    if( interval == 0 ) {
        return;
    }
    constexpr const char* LOCATION = "SleeperHighResWindows::sleep()";
    const std::int64_t deadline = PrClockPosix::now( LOCATION ) + interval;
    const PrClockPosix::LeastTimerSlack slack;
    PrClockPosix::sleepUntil( deadline, LOCATION );
}

} // namespace Qv
