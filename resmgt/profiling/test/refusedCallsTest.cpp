#include <base/failure/exSysError.h>
#include <base/init/inSingletonEx.h>
#include <base/init/src/inPackageFrame.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/periodicTimer.h>
#include <resmgt/profiling/prProcessTimes.h>
#include <resmgt/profiling/sleeper.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <sys/resource.h>
#include <time.h>

namespace Qv {

namespace {

thread_local const char* refusedCall = nullptr;
thread_local int nbRefused = 0;

bool isRefused( const char* call ) {
    if( refusedCall == nullptr || std::strcmp( refusedCall, call ) != 0 ) {
        return false;
    }
    ++nbRefused;
    errno = EPERM;
    return true;
}

/// While it lives, the system refuses this thread's calls named `call`.
class RefusedCall {
public:
    explicit RefusedCall( const char* call ) {
        nbRefused = 0;
        refusedCall = call;
    }
    RefusedCall( const RefusedCall& ) = delete;
    RefusedCall& operator=( const RefusedCall& ) = delete;
    ~RefusedCall() { refusedCall = nullptr; }
};

} // namespace

// The linker puts these in the places of the calls.
extern "C" {

int __real_clock_getres( clockid_t clock, timespec* resolution );
int __real_clock_gettime( clockid_t clock, timespec* time );
int __real_clock_nanosleep( clockid_t clock, int flags, const timespec* time, timespec* left );
int __real_getrusage( int who, rusage* usage );
int __real_prctl( int option, ... );

int __wrap_clock_getres( clockid_t clock, timespec* resolution ) {
    return isRefused( "clock_getres" ) ? -1 : __real_clock_getres( clock, resolution );
}

int __wrap_clock_gettime( clockid_t clock, timespec* time ) {
    return isRefused( "clock_gettime" ) ? -1 : __real_clock_gettime( clock, time );
}

int __wrap_clock_nanosleep( clockid_t clock, int flags, const timespec* time, timespec* left ) {
    return isRefused( "clock_nanosleep" ) ? EPERM
                                          : __real_clock_nanosleep( clock, flags, time, left );
}

int __wrap_getrusage( int who, rusage* usage ) {
    return isRefused( "getrusage" ) ? -1 : __real_getrusage( who, usage );
}

int __wrap_prctl( int option, ... ) {
    std::va_list arguments;
    va_start( arguments, option );
    const unsigned long argument = va_arg( arguments, unsigned long );
    va_end( arguments );
    return isRefused( "prctl" ) ? -1 : __real_prctl( option, argument, 0UL, 0UL, 0UL );
}

} // extern "C"

namespace {

TEST( RefusedCalls, eachIsToldWithItsPlaceAndTheSystemsReason ) {
    const Sleeper& plain = Sleeper::getInstance();
    const Sleeper& highRes = Sleeper::getHighResInstance();
    const OPtr<PeriodicTimer> timer( PeriodicTimer::create( 0.001 ) );
    const struct {
        const char* call;
        std::function<void()> operation;
        const char* place;
    } cases[] = {
        { "clock_gettime", [] { HwCounter::timeStamp(); }, "OsCpuInfo::getHwCounterValue" },
        { "clock_gettime", [&] { plain.getCurrentTime(); }, "SleeperPosix::getCurrentTime()" },
        { "clock_getres", [&] { plain.getResolution(); }, "SleeperPosix::getResolution()" },
        { "clock_gettime", [&] { plain.sleep( 0.001 ); }, "SleeperPosix::sleep()" },
        { "clock_nanosleep", [&] { plain.sleep( 0.001 ); }, "SleeperPosix::sleep()" },
        { "clock_gettime", [&] { highRes.getCurrentTime(); },
          "SleeperHighResPosix::getCurrentTime()" },
        { "clock_getres", [&] { highRes.getResolution(); },
          "SleeperHighResPosix::getResolution()" },
        { "clock_gettime", [&] { highRes.sleep( 0.001 ); }, "SleeperHighResPosix::sleep()" },
        { "clock_nanosleep", [&] { highRes.sleepIfPossible( 0.001 ); },
          "SleeperHighResPosix::sleep()" },
        { "clock_getres", [] { OPtr<PeriodicTimer>( PeriodicTimer::create( 1.0 ) ); },
          "PeriodicTimer::getResolution()" },
        { "clock_gettime", [] { OPtr<PeriodicTimer>( PeriodicTimer::create( 1.0 ) ); },
          "PeriodicTimerPosix::PeriodicTimerPosix()" },
        { "clock_gettime", [&] { timer->getCurrentCount(); },
          "PeriodicTimerPosix::getCurrentCount()" },
        { "clock_nanosleep", [&] { timer->wait(); }, "PeriodicTimerPosix::waitForCount()" },
        { "getrusage", [] { PrProcessTimes(); }, "PrProcessTimes::PrProcessTimes()" },
        { "clock_getres", [] { PrProcessTimes::initialize(); }, "PrProcessTimes::initialize()" },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( std::string( c.place ) + " without " + c.call );
        const RefusedCall refused( c.call );
        try {
            c.operation();
            ADD_FAILURE() << "raises nothing";
        } catch( const ExSysError& failure ) {
            EXPECT_THAT( failure.getReason(), testing::HasSubstr( c.place ) );
            EXPECT_THAT( failure.getReason(), testing::HasSubstr( std::string( c.call ) + "()" ) );
            EXPECT_THAT( failure.getReason(), testing::HasSubstr( std::strerror( EPERM ) ) );
        }
        EXPECT_EQ( nbRefused, 1 );
    }
}

TEST( RefusedCalls, aStartThatFailsCanBeTriedAgain ) {
    InPackageFrame& frame = InPackageFrame::getInstance();
    frame.stop();
    {
        const RefusedCall refused( "clock_getres" );
        EXPECT_THROW( frame.start(), ExSysErrorWindows );
    }
    EXPECT_THROW( Sleeper::getInstance(), InSingletonEx::ExAlreadyDestroyed );
    frame.start();
    Sleeper::getInstance().sleep( 0.001 );
    EXPECT_GT( PrProcessTimes::resolution(), 0.0 );
}

TEST( RefusedCalls, aSleepOfHighResolutionDoesWithoutTheSlack ) {
    const Sleeper& sleeper = Sleeper::getHighResInstance();
    const double before = sleeper.getCurrentTime();
    const RefusedCall refused( "prctl" );
    sleeper.sleep( 0.001 );
    EXPECT_GE( sleeper.getCurrentTime() - before, 0.001 );
    // It was asked for once, and not set back.
    EXPECT_EQ( nbRefused, 1 );
}

} // namespace

} // namespace Qv
