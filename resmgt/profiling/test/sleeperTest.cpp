#include <base/failure/assertions.h>
#include <base/init/inSingletonEx.h>
#include <resmgt/profiling/periodicTimer.h>
#include <resmgt/profiling/sleeper.h>
#include <resmgt/profiling/src/posix/periodicTimerPosix.h>
#include <resmgt/profiling/src/posix/prClockPosix.h>
#include <tests/support/deadline.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
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

double secondsNow() {
    return static_cast<double>( PrClockPosix::now( "test" ) ) * 1e-9;
}

/// How often this thread has gone to sleep.
long nbSleeps() {
    rusage usage{};
    EXPECT_EQ( ::getrusage( RUSAGE_THREAD, &usage ), 0 );
    return usage.ru_nvcsw;
}

TEST( Sleeper, aTimeThatIsTooShortOrNoTimeReturnsWithoutSleeping ) {
    const struct {
        const Sleeper& sleeper;
        double seconds;
    } cases[] = {
        { Sleeper::getInstance(), 0.0004 },       { Sleeper::getInstance(), 0.000999 },
        { Sleeper::getInstance(), 0.0 },          { Sleeper::getInstance(), -1.0 },
        { Sleeper::getInstance(), NOT_A_NUMBER }, { Sleeper::getInstance(), -INF },
        { Sleeper::getHighResInstance(), 0.0 },   { Sleeper::getHighResInstance(), -1.0 },
        { Sleeper::getHighResInstance(), -INF },  { Sleeper::getHighResInstance(), NOT_A_NUMBER },
    };
    for( const auto& c : cases ) {
        const long before = nbSleeps();
        c.sleeper.sleep( c.seconds );
        EXPECT_EQ( nbSleeps(), before ) << c.seconds;
    }
}

TEST( Sleeper, aSleepLastsAtLeastAsLongAsAskedThePlainOneInWholeMilliseconds ) {
    const struct {
        const Sleeper& sleeper;
        double seconds;
        double atLeast;
    } cases[] = {
        { Sleeper::getInstance(), 0.001, 0.001 },
        { Sleeper::getInstance(), 0.0039, 0.003 },
        { Sleeper::getHighResInstance(), 0.0003, 0.0003 },
        { Sleeper::getHighResInstance(), 0.0023, 0.0023 },
    };
    for( const auto& c : cases ) {
        const long sleepsBefore = nbSleeps();
        const double before = c.sleeper.getCurrentTime();
        EXPECT_TRUE( c.sleeper.sleepIfPossible( c.seconds ) );
        EXPECT_GE( c.sleeper.getCurrentTime() - before, c.atLeast - 1e-9 ) << c.seconds;
        EXPECT_GT( nbSleeps(), sleepsBefore ) << c.seconds;
    }
    EXPECT_GT( Sleeper::getInstance().getResolution(), 0.0 );
    EXPECT_LE( Sleeper::getInstance().getResolution(), 0.1 );
    EXPECT_LE( Sleeper::getHighResInstance().getResolution(),
               Sleeper::getInstance().getResolution() );
}

TEST( Sleeper, timesAreCutToWhatTheClockCanExpress ) {
    const struct {
        double seconds;
        std::int64_t expected;
    } cases[] = {
        { 0.0, 0 },
        { -0.5, 0 },
        { -INF, 0 },
        { NOT_A_NUMBER, 0 },
        { 4e-10, 0 },
        { 1e-9, 1 },
        { 0.003, 3'000'000 },
        { 1.000000001, 1'000'000'001 },
        { 1e18, PrClockPosix::MAX_INTERVAL },
        { 1e308, PrClockPosix::MAX_INTERVAL },
        { INF, PrClockPosix::MAX_INTERVAL },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( PrClockPosix::toInterval( c.seconds ), c.expected ) << c.seconds;
    }
    EXPECT_GT( PrClockPosix::now( "test" ), 0 );
    EXPECT_LT( PrClockPosix::now( "test" ),
               std::numeric_limits<std::int64_t>::max() - 2 * PrClockPosix::MAX_INTERVAL );
}

// Relaxed: they are looked at when the thread has ended.
std::atomic<int> nbSignals{ 0 };
std::atomic<int> leastSlack{ 0 };

void onSignal( int ) {
    const int slack = ::prctl( PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL );
    leastSlack.store( std::min( slack, leastSlack.load( std::memory_order_relaxed ) ),
                      std::memory_order_relaxed );
    nbSignals.fetch_add( 1, std::memory_order_relaxed );
}

class SleeperUnderSignals : public testing::Test {
protected:
    SleeperUnderSignals() {
        struct sigaction action {};
        action.sa_handler = onSignal;
        EXPECT_EQ( ::sigaction( SIGUSR1, &action, &_before ), 0 );
    }
    ~SleeperUnderSignals() override { ::sigaction( SIGUSR1, &_before, nullptr ); }

private:
    struct sigaction _before {};
};

TEST_F( SleeperUnderSignals, aStormOfThemShortensNoSleepAndTheThreadsSlackIsAsBefore ) {
    constexpr int SLACK = 54'321;
    constexpr int NB_SIGNALS = 100;
    const struct {
        const Sleeper& sleeper;
        int slackInSleep;
    } cases[] = { { Sleeper::getInstance(), SLACK }, { Sleeper::getHighResInstance(), 1 } };
    for( const auto& c : cases ) {
        nbSignals = 0;
        leastSlack = std::numeric_limits<int>::max();
        pthread_t id{};
        Gate started( "started" );
        double shortest = INF;
        int slackAfter = 0;
        TestThread thread( [&] {
            ASSERT_EQ(
                ::prctl( PR_SET_TIMERSLACK, static_cast<unsigned long>( SLACK ), 0UL, 0UL, 0UL ),
                0 );
            id = ::pthread_self();
            started.open();
            while( nbSignals < NB_SIGNALS ) {
                const double begin = secondsNow();
                c.sleeper.sleep( 0.02 );
                shortest = std::min( shortest, secondsNow() - begin );
            }
            slackAfter = ::prctl( PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL );
        } );
        started.wait();
        for( int sent = 1; sent <= NB_SIGNALS; ++sent ) {
            ASSERT_EQ( ::pthread_kill( id, SIGUSR1 ), 0 );
            waitUntil( [&] { return nbSignals == sent; }, "a signal" );
        }
        thread.join();
        EXPECT_GE( shortest, 0.02 - 1e-9 );
        EXPECT_EQ( leastSlack, c.slackInSleep );
        EXPECT_EQ( slackAfter, SLACK );
    }
}

TEST( Sleeper, itIsThereFromThePackagesStartToItsStop ) {
    EXPECT_THROW( Sleeper::initialize(), InSingletonEx::ExAlreadyInitialized );
    Sleeper::finalize();
    EXPECT_THROW( Sleeper::getInstance(), InSingletonEx::ExAlreadyDestroyed );
    EXPECT_THROW( Sleeper::getHighResInstance(), InSingletonEx::ExAlreadyDestroyed );
    Sleeper::initialize();
    EXPECT_NO_THROW( Sleeper::getInstance() );
}

TEST( PeriodicTimer, anIntervalBelowTheResolutionIsRefused ) {
    for( const double wrong : { 0.0, -1.0, PeriodicTimer::getResolution() / 2, NOT_A_NUMBER } ) {
        EXPECT_THROW( PeriodicTimer::create( wrong ), ExAssertionFailed ) << wrong;
    }
    const OPtr<PeriodicTimer> longest( PeriodicTimer::create( INF ) );
    EXPECT_EQ( longest->getCurrentCount(), 0u );
    EXPECT_EQ( longest->getInterval(), INF );
}

TEST( PeriodicTimer, aWaitEndsAtTheNextBeatHoweverLateItBegins ) {
    constexpr double INTERVAL = 0.002;
    const OPtr<PeriodicTimer> timer( PeriodicTimer::create( INTERVAL ) );
    for( int i = 0; i < 5; ++i ) {
        // Beats that nobody waits for pass.
        const double late = timer->getCurrentTime() + i * 0.7 * INTERVAL;
        while( timer->getCurrentTime() < late ) {}
        const std::uint64_t next = timer->getCurrentCount() + 1;
        timer->wait();
        EXPECT_GE( timer->getCurrentTime(), static_cast<double>( next ) * INTERVAL - 1e-9 );
        EXPECT_GE( timer->getCurrentCount(), next );
    }
    const std::uint64_t later = timer->getCurrentCount() + 3;
    timer->waitForCount( later );
    EXPECT_GE( timer->getCurrentTime(), static_cast<double>( later ) * INTERVAL - 1e-9 );
    EXPECT_LE( static_cast<double>( timer->getCurrentCount() ) * INTERVAL,
               timer->getCurrentTime() + 1e-9 );
    const long before = nbSleeps();
    timer->waitForCount( 1 );
    EXPECT_EQ( nbSleeps(), before );
}

TEST( PeriodicTimer, aCountThatIsNeverReachedIsAMomentOfTheClock ) {
    for( const double interval : { PeriodicTimer::getResolution(), 1.0, 1e9, INF } ) {
        const PeriodicTimerPosix timer( interval );
        EXPECT_LE( timer.momentOf( 0 ), PrClockPosix::now( "test" ) );
        EXPECT_GT( timer.momentOf( 1 ), timer.momentOf( 0 ) );
        EXPECT_GT( timer.momentOf( std::numeric_limits<std::uint64_t>::max() ),
                   timer.momentOf( 0 ) + PrClockPosix::MAX_INTERVAL / 2 );
    }
}

} // namespace

} // namespace Qv
