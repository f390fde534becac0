#include <resmgt/profiling/prProcessTimes.h>
#include <tests/support/deadline.h>

#include <gtest/gtest.h>

#include <ctime>
#include <thread>
#include <unistd.h>

namespace Qv {

namespace {

void workInUser() {
    volatile int work = 1'000'000;
    while( work > 0 ) {
        work = work - 1;
    }
}

void workInKernel() {
    for( int i = 0; i < 1000; ++i ) {
        EXPECT_NE( ::access( "/nowhere/at/all", R_OK ), 0 );
    }
}

TEST( PrProcessTimesTest, UserAndKernelTimeGrowWhereTheWorkIsDoneAndSwappedMomentsAreNegative ) {
    const auto expectGrowth = []( void ( *work )(), auto told ) {
        const PrProcessTimes before;
        const auto hasGrown = [&] {
            work();
            return told( before, PrProcessTimes() ) >= 0.02;
        };
        waitUntil( hasGrown, "processor time" );
        EXPECT_LT( told( PrProcessTimes(), before ), 0.0 );
    };
    expectGrowth( workInUser, PrProcessTimes::cpuUserTime );
    expectGrowth( workInKernel, PrProcessTimes::cpuKernelTime );
}

TEST( PrProcessTimesTest, TheTimerTellsAllThreadsProcessorTimeBetweenStartAndStop ) {
    PrProcessTimer timer;
    EXPECT_EQ( timer.cpuTime(), 0.0 );
    EXPECT_EQ( timer.realTime(), 0.0 );
    const auto processorSeconds = [begin = std::clock()] {
        return static_cast<double>( std::clock() - begin ) / CLOCKS_PER_SEC;
    };
    timer.start();
    const double started = processorSeconds();
    std::thread( [&] {
        while( processorSeconds() < 0.05 ) {}
    } ).join();
    const double atLeast = processorSeconds() - started;
    timer.stop();
    // The system counts microseconds.
    EXPECT_GE( timer.cpuTime(), atLeast - 1e-5 );
    EXPECT_LE( timer.cpuTime(), processorSeconds() + 1e-5 );
    EXPECT_DOUBLE_EQ( timer.cpuTime(), timer.cpuUserTime() + timer.cpuKernelTime() );
    const double before = timer.realTime();
    EXPECT_GT( before, 0.0 );
    timer.stop();
    EXPECT_GT( timer.realTime(), before );
    timer.start();
    EXPECT_EQ( timer.realTime(), 0.0 );
    EXPECT_GT( PrProcessTimer::resolution(), 0.0 );
    EXPECT_LE( PrProcessTimer::resolution(), 0.1 );
}

} // namespace

} // namespace Qv
