#include <base/failure/qvHere.h>
#include <resmgt/profiling/prEx.h>
#include <resmgt/profiling/profConsolidator.h>
#include <resmgt/profiling/profiler.imp>
#include <resmgt/profiling/timer.h>
#include <tests/support/dumpOf.h>

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <vector>

namespace Qv {

namespace {

/// A timer whose intervals the test sets.
class ScriptedTimer : public IntervalTimer {
public:
    using IntervalTimer::IntervalTimer;

    void start() override {}
    void stop() override {}
    double timeInterval() const override { return next; }
    double sinceStart() const override { return next; }

    static inline double next = 0.0;
};

using Cycles = std::vector<std::vector<double>>;

void run( ProfilerBase& profiler, const Cycles& cycles ) {
    for( const std::vector<double>& cycle : cycles ) {
        double expected = 0.0;
        for( const double interval : cycle ) {
            profiler.start();
            ScriptedTimer::next = interval;
            profiler.stop();
            expected += interval;
            EXPECT_DOUBLE_EQ( profiler.currentTime(), expected );
        }
        profiler.endCycle();
    }
}

TEST( ProfilerTest, StatisticsAreThoseComputedByHand ) {
    const struct {
        Cycles cycles;
        double total, average, minimum, maximum, deviation;
    } cases[] = {
        { {}, 0.0, 0.0, 0.0, 0.0, 0.0 },
        { { { 3.0 } }, 3.0, 3.0, 3.0, 3.0, 0.0 },
        // The first cycle has two pairs.
        { { { 0.25, 0.25 }, { 1.5 }, { 1.0 } }, 3.0, 1.0, 0.5, 1.5, 0.5 },
        { { { 2 }, { 4 }, { 4 }, { 4 }, { 5 }, { 5 }, { 7 }, { 9 } }, 40, 5, 2, 9, 2.138089935 },
        // Rounding takes the difference of the squares below 0 here.
        { { { 0.1 }, { 0.1 }, { 0.1 } }, 0.3, 0.1, 0.1, 0.1, 0.0 },
    };
    Profiler<ScriptedTimer> profiler( "scripted" );
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.cycles.size() );
        run( profiler, c.cycles );
        EXPECT_EQ( profiler.cycles(), c.cycles.size() );
        EXPECT_DOUBLE_EQ( profiler.totalTime(), c.total );
        EXPECT_DOUBLE_EQ( profiler.averageTime(), c.average );
        EXPECT_DOUBLE_EQ( profiler.minTime(), c.minimum );
        EXPECT_DOUBLE_EQ( profiler.maxTime(), c.maximum );
        EXPECT_NEAR( profiler.standardDeviation(), c.deviation, 1e-9 );
        profiler.stop();
        profiler.reset();
        EXPECT_EQ( profiler.currentTime(), 0.0 );
    }
}

TEST( ProfilerTest, ReportsHaveTheirForms ) {
    Profiler<ScriptedTimer> profiler( "old" );
    profiler.setName( "decode" );
    run( profiler, { { 0.5 }, { 1.5 }, { 1.0 } } );
    std::ostringstream text;
    text << profiler;
    profiler.printLine( text );
    text << '\n';
    ScriptedTimer::next = 1.25;
    Timer<ScriptedTimer>( "load" ).dump( text );
    EXPECT_EQ( text.str(), "decode\nNb of cycles: 3\nTotal time: 3\nAverage time: 1\n"
                           "Minimum time: 0.5\nMaximum time: 1.5\nStandard dev: 0.5\n"
                           "decode: cyc:3 tot:3 avg:1 min: 0.5 max:1.5 dev:0.5\n"
                           "Timer load: Total = 1.25\n" );
}

TEST( ProfilerTest, TheConsolidatorCountsCyclesOfAllAndNoneOfAProfilerWithoutAny ) {
    ProfConsolidator consolidator;
    EXPECT_EQ( consolidator.minTime(), 0.0 );
    EXPECT_EQ( consolidator.averageTime(), 0.0 );
    for( const Cycles& cycles : { Cycles{ { 2.0 }, { 4.0 } }, {}, { { 0.5 }, { 1.0 } } } ) {
        Profiler<ScriptedTimer> profiler( "part" );
        run( profiler, cycles );
        consolidator.consolidate( profiler );
    }
    EXPECT_EQ( dumpOf( consolidator ),
               "Profiler Consolidator:\nNb of cycles: 4\nTotal time: 7.5\n"
               "Average time: 1.875\nMinimum time: 0.5\nMaximum time: 4\n" );
}

template <class T>
class IntervalTimersTest : public testing::Test {};
using AllIntervalTimers = testing::Types<HwIntervalTimer, TodIntervalTimer>;
TYPED_TEST_SUITE( IntervalTimersTest, AllIntervalTimers );

TYPED_TEST( IntervalTimersTest, TheTimeRunsFromTheLastStartToTheLastStopAndProfilersAddItUp ) {
    // What the clocks may differ by: the time of day counts in microseconds, and is steered.
    constexpr double TOLERANCE = 1e-4;
    const auto seconds = [] {
        return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() )
            .count();
    };
    const double outer = seconds();
    TypeParam timer( "timer" );
    Profiler<TypeParam> profiler( "profiler" );
    EXPECT_EQ( timer.timeInterval(), 0.0 );
    timer.start();
    profiler.start();
    const double inner = seconds();
    while( seconds() < inner + 0.003 ) {}
    profiler.stop();
    timer.stop();
    const double first = timer.timeInterval();
    EXPECT_GE( profiler.currentTime(), 0.003 - TOLERANCE );
    EXPECT_LE( profiler.currentTime(), first + TOLERANCE );
    EXPECT_LE( first, seconds() - outer + TOLERANCE );
    EXPECT_GE( timer.sinceStart(), first );
    timer.stop();
    EXPECT_GE( timer.timeInterval(), first );
    timer.start();
    EXPECT_EQ( timer.timeInterval(), 0.0 );
}

TEST( PrExTest, AFailureTellsWhatWasWrong ) {
    EXPECT_STREQ( PrEx::ExUnsupported( QV_HERE ).getReason(),
                  "Functionality unsupported by profiling package." );
    EXPECT_STREQ( PrEx::ExIllegalCounterIndex( QV_HERE, -7 ).getReason(),
                  "Request with illegal counter index -7." );
    EXPECT_STREQ( PrEx::ExIllegalInstanceName( QV_HERE, "disk" ).getReason(),
                  "Request with illegal counter instance name disk." );
    EXPECT_STREQ( PrEx::ExIllegalObjectIndex( QV_HERE, 12 ).getReason(),
                  "Request with illegal counter object index 12." );
}

} // namespace

} // namespace Qv
