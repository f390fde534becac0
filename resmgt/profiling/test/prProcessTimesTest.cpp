#include <base/failure/assertions.h>
#include <resmgt/profiling/prProcessTimes.h>
#include <tests/support/deadline.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
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

void workInUser() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds( 1 );
    while( std::chrono::steady_clock::now() < end ) {}
}

void workInKernel() {
    for( int i = 0; i < 1000; ++i ) {
        EXPECT_NE( ::access( "/nowhere/at/all", R_OK ), 0 );
    }
}

TEST( PrProcessTimes, userAndKernelTimeGrowWhereTheWorkIsDoneAndSwappedMomentsAreNegative ) {
    const struct {
        void ( *work )();
        double ( *told )( const PrProcessTimes&, const PrProcessTimes& );
    } cases[] = { { workInUser, PrProcessTimes::cpuUserTime },
                  { workInKernel, PrProcessTimes::cpuKernelTime } };
    for( const auto& c : cases ) {
        const PrProcessTimes before;
        const auto hasGrown = [&] {
            c.work();
            return c.told( before, PrProcessTimes() ) >= 0.02;
        };
        waitUntil( hasGrown, "processor time" );
        EXPECT_LT( c.told( PrProcessTimes(), before ), 0.0 );
    }
}

TEST( PrProcessTimes, theTimerTellsAllThreadsProcessorTimeBetweenStartAndStop ) {
    PrProcessTimer timer;
    EXPECT_EQ( timer.cpuTime(), 0.0 );
    EXPECT_EQ( timer.realTime(), 0.0 );
    const double outerBegin = processorSeconds();
    timer.start();
    const double innerBegin = processorSeconds();
    std::thread( [&] {
        while( processorSeconds() < innerBegin + 0.05 ) {}
    } ).join();
    const double atLeast = processorSeconds() - innerBegin;
    timer.stop();
    const double atMost = processorSeconds() - outerBegin;
    // The system tells microseconds.
    EXPECT_GE( timer.cpuTime(), atLeast - 1e-5 );
    EXPECT_LE( timer.cpuTime(), atMost + 1e-5 );
    EXPECT_DOUBLE_EQ( timer.cpuTime(), timer.cpuUserTime() + timer.cpuKernelTime() );
    const double before = timer.realTime();
    EXPECT_GT( before, 0.0 );
    timer.stop();
    EXPECT_GT( timer.realTime(), before );
    timer.start();
    EXPECT_EQ( timer.realTime(), 0.0 );
}

TEST( PrProcessTimes, theResolutionIsThatOfAStartedPackage ) {
    EXPECT_GT( PrProcessTimer::resolution(), 0.0 );
    EXPECT_LE( PrProcessTimer::resolution(), 0.1 );
    PrProcessTimes::finalize();
    EXPECT_THROW( PrProcessTimes::resolution(), ExAssertionFailed );
    PrProcessTimes::initialize();
}

} // namespace

} // namespace Qv
