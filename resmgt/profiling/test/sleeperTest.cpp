#include <base/failure/assertions.h>
#include <resmgt/profiling/sleeper.h>
#include <resmgt/profiling/src/posix/periodicTimerPosix.h>
#include <resmgt/profiling/src/posix/prClockPosix.h>
#include <tests/support/deadline.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace Qv {

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
/// What a sum of seconds may be off by in a double.
constexpr double ROUNDING = 1e-8;

/// How often this thread has gone to sleep.
long nbSleeps() {
    rusage usage{};
    EXPECT_EQ( ::getrusage( RUSAGE_THREAD, &usage ), 0 );
    return usage.ru_nvcsw;
}

TEST( SleeperTest, ASleepLastsAtLeastAsLongAsAskedThePlainOneInWholeMilliseconds ) {
    const Sleeper& plain = Sleeper::getInstance();
    const Sleeper& highRes = Sleeper::getHighResInstance();
    const struct {
        const Sleeper& sleeper;
        double seconds, atLeast;
    } cases[] = {
        { plain, 0.0004, 0.0 },      { plain, 0.000999, 0.0 }, { plain, -1.0, 0.0 },
        { plain, 0.001, 0.001 },     { plain, 0.0039, 0.003 }, { highRes, 0.0, 0.0 },
        { highRes, 0.0003, 0.0003 }, { highRes, -1.0, 0.0 },   { highRes, 0.0023, 0.0023 } };
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.seconds );
        // What runs for the first time may have to be loaded, which would count as a sleep.
        c.sleeper.sleep( -c.sleeper.getCurrentTime() );
        const long nbBefore = nbSleeps();
        const double before = c.sleeper.getCurrentTime();
        EXPECT_TRUE( c.sleeper.sleepIfPossible( c.seconds ) );
        EXPECT_GE( c.sleeper.getCurrentTime() - before, c.atLeast - ROUNDING );
        EXPECT_EQ( nbSleeps() > nbBefore, c.atLeast > 0.0 );
    }
    EXPECT_LE( plain.getResolution(), 0.1 );
    EXPECT_LE( highRes.getResolution(), plain.getResolution() );
}

TEST( SleeperTest, TimesAreCutToWhatTheClockCanExpress ) {
    for( const double none : { -INF, NOT_A_NUMBER, 0.0, 4e-10 } ) {
        EXPECT_EQ( PrClockPosix::toInterval( none ), 0 ) << none;
    }
    EXPECT_EQ( PrClockPosix::toInterval( 1e-9 ), 1 );
    EXPECT_EQ( PrClockPosix::toInterval( 0.003 ), 3'000'000 );
    for( const double longest : { 1e10, 1e308, INF } ) {
        EXPECT_EQ( PrClockPosix::toInterval( longest ), PrClockPosix::MAX_INTERVAL ) << longest;
    }
}

// Relaxed: they are looked at when the thread has ended.
std::atomic<int> nbSignals{ 0 };
std::atomic<int> leastSlack{ 0 };

int timerSlack() {
    return ::prctl( PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL );
}

void onSignal( int ) {
    leastSlack.store( std::min( timerSlack(), leastSlack.load( std::memory_order_relaxed ) ),
                      std::memory_order_relaxed );
    nbSignals.fetch_add( 1, std::memory_order_relaxed );
}

TEST( SleeperTest, AStormOfSignalsShortensNoSleepAndTheThreadsSlackIsAsBefore ) {
    constexpr unsigned long SLACK = 54'321;
    constexpr int NB_SIGNALS = 100;
    const auto former = ::signal( SIGUSR1, onSignal );
    for( const Sleeper* sleeper : { &Sleeper::getInstance(), &Sleeper::getHighResInstance() } ) {
        nbSignals = 0;
        leastSlack = std::numeric_limits<int>::max();
        pthread_t id{};
        Gate started( "started" );
        TestThread thread( [&] {
            ASSERT_EQ( ::prctl( PR_SET_TIMERSLACK, SLACK, 0UL, 0UL, 0UL ), 0 );
            id = ::pthread_self();
            started.open();
            while( nbSignals < NB_SIGNALS ) {
                const double begin = sleeper->getCurrentTime();
                sleeper->sleep( 0.02 );
                EXPECT_GE( sleeper->getCurrentTime() - begin, 0.02 - ROUNDING );
            }
            EXPECT_EQ( timerSlack(), SLACK );
        } );
        started.wait();
        for( int sent = 1; sent <= NB_SIGNALS; ++sent ) {
            ASSERT_EQ( ::pthread_kill( id, SIGUSR1 ), 0 );
            waitUntil( [&] { return nbSignals == sent || thread.isDone(); }, "a signal" );
        }
        thread.join();
        EXPECT_EQ( leastSlack, sleeper == &Sleeper::getHighResInstance() ? 1 : SLACK );
    }
    ::signal( SIGUSR1, former );
}

TEST( PeriodicTimerTest, AWaitEndsAtTheNextBeatHoweverLateItBegins ) {
    constexpr double INTERVAL = 0.002;
    const OPtr<PeriodicTimer> timer( PeriodicTimer::create( INTERVAL ) );
    const auto expectAtLeast = [&]( std::uint64_t count ) {
        EXPECT_GE( timer->getCurrentTime(), static_cast<double>( count ) * INTERVAL - ROUNDING );
        EXPECT_GE( timer->getCurrentCount(), count );
    };
    for( int i = 0; i < 5; ++i ) {
        // Beats that nobody waits for pass.
        const double late = timer->getCurrentTime() + i * 0.7 * INTERVAL;
        while( timer->getCurrentTime() < late ) {}
        const std::uint64_t next = timer->getCurrentCount() + 1;
        timer->wait();
        expectAtLeast( next );
    }
    const std::uint64_t later = timer->getCurrentCount() + 3;
    timer->waitForCount( later );
    expectAtLeast( later );
    const long nbBefore = nbSleeps();
    timer->waitForCount( 1 );
    EXPECT_EQ( nbSleeps(), nbBefore );
}

TEST( PeriodicTimerTest, AnIntervalIsAtLeastTheResolutionAndAnyCountAMomentOfTheClock ) {
    for( const double wrong : { -1.0, PeriodicTimer::getResolution() / 2, NOT_A_NUMBER } ) {
        EXPECT_THROW( OPtr<PeriodicTimer>( PeriodicTimer::create( wrong ) ), ExAssertionFailed );
    }
    for( const double interval : { PeriodicTimer::getResolution(), 1.0, 1e9, INF } ) {
        const PeriodicTimerPosix timer( interval );
        EXPECT_EQ( timer.getInterval(), interval );
        EXPECT_LE( timer.momentOf( 0 ), PrClockPosix::now( "test" ) );
        EXPECT_GT( timer.momentOf( 1 ), timer.momentOf( 0 ) );
        EXPECT_GT( timer.momentOf( std::numeric_limits<std::uint64_t>::max() ),
                   timer.momentOf( 0 ) + PrClockPosix::MAX_INTERVAL / 2 );
    }
}

} // namespace

} // namespace Qv
