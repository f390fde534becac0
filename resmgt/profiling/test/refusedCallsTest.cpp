#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/init/inSingletonEx.h>
#include <base/init/src/inPackageFrame.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/periodicTimer.h>
#include <resmgt/profiling/prProcessTimes.h>
#include <resmgt/profiling/sleeper.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <time.h>
#include <tuple>

namespace Qv {

namespace {

/// The call that the system refuses, once.
thread_local const char* refusedCall = "";

bool isRefused( const char* call ) {
    if( std::strcmp( refusedCall, call ) != 0 ) {
        return false;
    }
    refusedCall = "";
    errno = EPERM;
    return true;
}

} // namespace

// The linker puts the second of each pair in the place of the call.
extern "C" {
int __real_clock_getres( clockid_t clock, timespec* resolution );
int __wrap_clock_getres( clockid_t clock, timespec* resolution ) {
    return isRefused( "clock_getres" ) ? -1 : __real_clock_getres( clock, resolution );
}
int __real_clock_gettime( clockid_t clock, timespec* time );
int __wrap_clock_gettime( clockid_t clock, timespec* time ) {
    return isRefused( "clock_gettime" ) ? -1 : __real_clock_gettime( clock, time );
}
int __real_clock_nanosleep( clockid_t clock, int flags, const timespec* time, timespec* left );
int __wrap_clock_nanosleep( clockid_t clock, int flags, const timespec* time, timespec* left ) {
    return isRefused( "clock_nanosleep" ) ? EPERM
                                          : __real_clock_nanosleep( clock, flags, time, left );
}
int __real_getrusage( int who, rusage* usage );
int __wrap_getrusage( int who, rusage* usage ) {
    return isRefused( "getrusage" ) ? -1 : __real_getrusage( who, usage );
}
}

namespace {

OPtr<PeriodicTimer> makeTimer() {
    return PeriodicTimer::create( 0.001 );
}

TEST( RefusedCallsTest, EachIsToldWithItsPlaceAndTheSystemsReason ) {
    const Sleeper& plain = Sleeper::getInstance();
    const Sleeper& highRes = Sleeper::getHighResInstance();
    const OPtr<PeriodicTimer> timer( makeTimer() );
    const std::tuple<const char*, std::function<void()>, const char*> cases[] = {
        { "clock_gettime", [] { HwCounter::timeStamp(); }, "OsCpuInfo::getHwCounterValue" },
        { "clock_gettime", [&] { plain.getCurrentTime(); }, "SleeperPosix::getCurrentTime()" },
        { "clock_getres", [&] { plain.getResolution(); }, "SleeperPosix::getResolution()" },
        { "clock_nanosleep", [&] { plain.sleep( 0.001 ); }, "SleeperPosix::sleep()" },
        { "clock_getres", [&] { highRes.getResolution(); },
          "SleeperHighResWindows::getResolution" },
        { "clock_nanosleep", [&] { highRes.sleep( 0.001 ); }, "SleeperHighResWindows::sleep()" },
        { "clock_getres", [] { makeTimer(); }, "PeriodicTimer::getResolution()" },
        { "clock_gettime", [] { makeTimer(); }, "PeriodicTimerPosix::PeriodicTimerPosix()" },
        { "clock_nanosleep", [&] { timer->wait(); }, "PeriodicTimerPosix::waitForCount()" },
        { "getrusage", [] { PrProcessTimes(); }, "PrProcessTimes::PrProcessTimes()" },
    };
    for( const auto& [call, operation, place] : cases ) {
        SCOPED_TRACE( std::string( place ) + " without " + call );
        refusedCall = call;
        const std::string failure = raisedBy<ExSysError>( operation );
        EXPECT_THAT( failure, testing::HasSubstr( place ) );
        EXPECT_THAT( failure, testing::HasSubstr( std::string( call ) + "()" ) );
        EXPECT_THAT( failure, testing::HasSubstr( std::strerror( EPERM ) ) );
    }
    refusedCall = "clock_gettime";
    EXPECT_THROW( HwCounter::timeStamp(), ExSysErrorANSI );
}

TEST( RefusedCallsTest, AStoppedPackageHasNoSleepersAndAStartThatFailsCanBeTriedAgain ) {
    InPackageFrame& frame = InPackageFrame::getInstance();
    frame.stop();
    EXPECT_THROW( Sleeper::getInstance(), InSingletonEx::ExAlreadyDestroyed );
    EXPECT_THROW( Sleeper::getHighResInstance(), InSingletonEx::ExAlreadyDestroyed );
    EXPECT_THROW( PrProcessTimes::resolution(), ExAssertionFailed );
    refusedCall = "clock_getres";
    EXPECT_THROW( frame.start(), ExSysErrorWindows );
    frame.start();
    EXPECT_NO_THROW( Sleeper::getInstance() );
}

} // namespace

} // namespace Qv
