#include <base/failure/assertions.h>
#include <resmgt/profiling/prEx.h>
#include <resmgt/profiling/prProcessTimes.h>
#include <tests/support/deadline.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <time.h>
#include <unistd.h>

namespace Qv {

namespace {

double processorSeconds() {
    timespec time{};
    EXPECT_EQ( ::clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &time ), 0 );
    return static_cast<double>( time.tv_sec ) + static_cast<double>( time.tv_nsec ) * 1e-9;
}

TEST( PrProcessTimes, userAndKernelTimeGrowWhereTheWorkIsDone ) {
    const struct {
        const char* where;
        std::function<void()> work;
        double ( *told )( const PrProcessTimes&, const PrProcessTimes& );
    } cases[] = {
        { "user",
          [] {
              const double end = processorSeconds() + 0.001;
              while( processorSeconds() < end ) {}
          },
          PrProcessTimes::cpuUserTime },
        { "kernel",
          [] {
              for( int i = 0; i < 1000; ++i ) {
                  ::access( "/nowhere/at/all", R_OK );
              }
          },
          PrProcessTimes::cpuKernelTime },
    };
    for( const auto& c : cases ) {
        const PrProcessTimes before;
        const auto grown = [&] {
            c.work();
            return c.told( before, PrProcessTimes() ) >= 0.02;
        };
        waitUntil( grown, c.where );
        const PrProcessTimes after;
        EXPECT_LT( c.told( after, before ), 0.0 ) << c.where;
    }
}

TEST( PrProcessTimes, theTimerTellsAllThreadsProcessorTimeBetweenStartAndStop ) {
    PrProcessTimer timer;
    EXPECT_EQ( timer.cpuTime(), 0.0 );
    EXPECT_EQ( timer.realTime(), 0.0 );
    const double outerBegin = processorSeconds();
    timer.start();
    const double innerBegin = processorSeconds();
    std::thread other( [&] {
        while( processorSeconds() < innerBegin + 0.05 ) {}
    } );
    other.join();
    const double atLeast = processorSeconds() - innerBegin;
    timer.stop();
    const double atMost = processorSeconds() - outerBegin;
    // The system tells microseconds.
    EXPECT_GE( timer.cpuTime(), atLeast - 1e-5 );
    EXPECT_LE( timer.cpuTime(), atMost + 1e-5 );
    EXPECT_DOUBLE_EQ( timer.cpuTime(), timer.cpuUserTime() + timer.cpuKernelTime() );
    EXPECT_GT( timer.realTime(), 0.0 );
    const double before = timer.realTime();
    timer.stop();
    EXPECT_GT( timer.realTime(), before );
    timer.start();
    EXPECT_EQ( timer.realTime(), 0.0 );
}

TEST( PrProcessTimes, theResolutionIsThatOfAStartedPackage ) {
    EXPECT_GT( PrProcessTimer::resolution(), 0.0 );
    EXPECT_LE( PrProcessTimes::resolution(), 0.1 );
    PrProcessTimes::finalize();
    EXPECT_THROW( PrProcessTimes::resolution(), ExAssertionFailed );
    PrProcessTimes::initialize();
    EXPECT_GT( PrProcessTimes::resolution(), 0.0 );
}

TEST( PrEx, aFailureTellsWhatWasWrongInEveryCopy ) {
    const struct {
        std::shared_ptr<PrEx> failure;
        const char* text;
    } cases[] = {
        { std::make_shared<PrEx::ExUnsupported>( QV_HERE ),
          "Functionality unsupported by profiling package." },
        { std::make_shared<PrEx::ExIllegalCounterIndex>( QV_HERE, -7 ),
          "Request with illegal counter index -7." },
        { std::make_shared<PrEx::ExIllegalInstanceName>( QV_HERE, "disk" ),
          "Request with illegal counter instance name disk." },
        { std::make_shared<PrEx::ExIllegalObjectIndex>( QV_HERE, 12 ),
          "Request with illegal counter object index 12." },
    };
    for( const auto& c : cases ) {
        EXPECT_STREQ( c.failure->getReason(), c.text );
        try {
            c.failure->raise();
        } catch( const PrEx& raised ) {
            EXPECT_STREQ( raised.getReason(), c.text );
            EXPECT_EQ( typeid( raised ), typeid( *c.failure ) );
        }
    }
}

} // namespace

} // namespace Qv
