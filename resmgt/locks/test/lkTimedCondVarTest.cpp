#include <base/locks/lkGuard.h>
#include <resmgt/locks/lkEvent.h>
#include <resmgt/locks/lkSema.h>
#include <resmgt/locks/src/lkDeadline.h>
#include <tests/support/deadline.h>
#include <tests/support/dumpOf.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <deque>
#include <limits>

namespace Qv {

using Guard = LkGuard<const LkLock>;

class LkTimedCondVarTest : public ::testing::Test {
protected:
    static const LkLock& listLock( const LkTimedCondVar& condVar ) {
        return condVar._imp._listLock;
    }
    static const LkTimedCondVar& nonZero( const LkSema& sema ) { return sema._nonZero; }
    static unsigned int nbWaiters( const LkSema& sema ) {
        const Guard guard( sema._lock );
        return sema._nbWaiters;
    }
    static int nbQueued( const LkTimedCondVar& condVar ) QV_NO_THREAD_SAFETY_ANALYSIS {
        int count = 0;
        const LkTimedWaitLinks& head = condVar._imp._waiters;
        for( auto link = head.getNext(); link != &head; link = link->getNext() ) {
            ++count;
        }
        return count;
    }
    /// Signals at the moment when the time of the oldest of `nbWaiters` waiters has run out but it
    /// hasn't left the list yet. Answers whether that moment was met: else the time ran out too
    /// early, or the waiter was slow to notice, and the signal came in time.
    template <class Signal>
    static bool signalAtTimeOut( const LkTimedCondVar& condVar, int nbWaiters, TestThread& waiter,
                                 const bool& isSignalled, Signal signal ) {
        bool isQueued = false;
        {
            const Guard guard( listLock( condVar ) );
            isQueued = nbQueued( condVar ) == nbWaiters;
            const LkDeadline later( 0.015 );
            waitUntil( [&] { return later.isOver(); }, "the time has run out" );
            signal();
        }
        waiter.join();
        return isQueued && !isSignalled;
    }

    const LkLock _lock{ "lock" };
    LkTimedCondVar _condVar{ "condVar" };
};

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();

TEST( LkDeadlineTest, LimitsAreRoundedToMillisecondsAndAbsurdOnesHaveAMeaning ) {
    for( const double seconds : { 0.0, -0.0, 0.000499, -1.0, -INF, std::nan( "" ), -1e300 } ) {
        EXPECT_TRUE( LkDeadline( seconds ).isOver() ) << seconds;
        EXPECT_FALSE( LkDeadline( seconds ).isNever() ) << seconds;
    }
    for( const double seconds : { 4.0e9, 1e18, 1e300, INF } ) {
        EXPECT_TRUE( LkDeadline( seconds ).isNever() ) << seconds;
        EXPECT_FALSE( LkDeadline( seconds ).isOver() ) << seconds;
    }
    // Beyond what 32 bits of milliseconds hold, but a limit.
    const LkDeadline month( 60.0 * 86400.0 );
    EXPECT_GT( month.getRemaining(), std::chrono::hours( 59 * 24 ) );
    EXPECT_LE( month.getRemaining(), std::chrono::hours( 60 * 24 ) );
    EXPECT_LE( LkDeadline( 1000.0005 ).getRemaining(), std::chrono::milliseconds( 1'000'001 ) );
}

TEST_F( LkTimedCondVarTest, WaitThatRunsOutHoldsTheLockAndIsOffTheList ) {
    for( const double seconds : { 0.0, -5.0, 0.002 } ) {
        const Guard guard( _lock );
        EXPECT_FALSE( _condVar.timedWait( guard, seconds ) );
        EXPECT_EQ( _lock.getImp().getHolder(), ThreadNumber::get() );
        _condVar.signal();
        EXPECT_FALSE( _condVar.timedWait( _lock, seconds ) ) << "an earlier signal was kept";
    }
}

TEST_F( LkTimedCondVarTest, TimeOutTakesOneWaiterOutOfTheMiddleAndImmenseLimitsAreNone ) {
    int nbWaiting = 0;
    std::vector<int> woken;
    std::deque<TestThread> threads;
    for( const double seconds : { 1e300, 0.002, INF } ) {
        const int number = static_cast<int>( threads.size() );
        threads.emplace_back( [&, number, seconds] {
            const Guard guard( _lock );
            ++nbWaiting;
            if( _condVar.timedWait( guard, seconds ) ) {
                woken.push_back( number );
            }
        } );
        const auto isQueued = [&] {
            const Guard guard( _lock );
            return nbWaiting == number + 1;
        };
        waitUntil( isQueued, "waiter is queued" );
    }
    threads[1].join();
    threads[0].waitUntilBlocked();
    EXPECT_FALSE( threads[0].isDone() ) << "an immense limit was over";
    _condVar.signal();
    threads[0].join();
    _condVar.signal();
    threads[2].join();
    EXPECT_THAT( woken, ::testing::ElementsAre( 0, 2 ) );
}

TEST_F( LkTimedCondVarTest, SignalThatMeetsTheTimeOutDoesntEndALaterWait ) {
    // Again until the moment was met.
    for( bool isMet = false; !isMet; ) {
        bool isSignalled = false;
        bool isLaterEnded = true;
        Gate locked( "locked" );
        TestThread waiter( [&] {
            const Guard guard( _lock );
            locked.open();
            isSignalled = _condVar.timedWait( guard, 0.01 );
            isLaterEnded = _condVar.timedWait( guard, 0.0 );
        } );
        locked.wait();
        // The lock is free once the waiter is queued.
        static_cast<void>( Guard( _lock ) );
        isMet = signalAtTimeOut( _condVar, 1, waiter, isSignalled, [&] { _condVar.signal(); } );
        ASSERT_FALSE( isLaterEnded );
    }
}

TEST_F( LkTimedCondVarTest, PostThatMeetsATimeOutGoesToAnotherWaiter ) {
    for( bool isMet = false; !isMet; ) {
        LkSema sema( "sema", 0 );
        bool isTaken = false;
        TestThread waiter( [&] { isTaken = sema.timedWait( 0.01 ); } );
        waitUntil( [&] { return waiter.isDone() || nbWaiters( sema ) == 1; }, "one waits" );
        TestThread other( [&] { sema.wait(); } );
        waitUntil( [&] { return waiter.isDone() || nbWaiters( sema ) == 2; }, "both wait" );
        isMet = signalAtTimeOut( nonZero( sema ), 2, waiter, isTaken, [&] { sema.post(); } );
        if( isTaken ) {
            sema.post();
        }
        other.join();
        EXPECT_FALSE( sema.tryWait() );
    }
}

TEST( LkSemaTest, InitialCountIsTakenAndTimeOutLeavesItAlone ) {
    LkSema sema( "sema", 2 );
    sema.wait();
    sema.wait();
    EXPECT_FALSE( sema.tryWait() );
    EXPECT_FALSE( sema.timedWait( 0.0 ) );
    EXPECT_FALSE( sema.timedWait( 0.002 ) );
    TestThread third( [&] { sema.wait(); } );
    third.waitUntilBlocked();
    EXPECT_FALSE( third.isDone() );
    sema.post();
    third.join();
    sema.post();
    EXPECT_TRUE( sema.tryWait() );
    EXPECT_FALSE( sema.tryWait() );
    EXPECT_TRUE( sema.isValid() );
}

TEST( LkEventTest, AllPassWhoWaitWhenItIsSetAndNoneWhoComesAfterAReset ) {
    LkEvent event( "event", true );
    event.wait();
    EXPECT_TRUE( event.timedWait( 0.0 ) );
    EXPECT_EQ( dumpOf( event ), "name event set" );
    event.reset();
    EXPECT_EQ( dumpOf( event ), "name event reset" );
    EXPECT_FALSE( event.timedWait( 0.0 ) );
    EXPECT_FALSE( event.timedWait( 0.002 ) );
    TestThread first( [&] { event.wait(); } );
    TestThread second( [&] { EXPECT_TRUE( event.timedWait( 1e300 ) ); } );
    first.waitUntilBlocked();
    second.waitUntilBlocked();
    event.set();
    event.reset();
    first.join();
    second.join();
    EXPECT_FALSE( event.timedWait( 0.0 ) );
}

TEST( LkEventTest, WaiterMayDestroyItWhileTheSetReturns ) {
    for( long round = scaledCount( 2000 ); round > 0; --round ) {
        auto event = std::make_unique<LkEvent>( "event", false );
        TestThread waiter( [&] {
            event->wait();
            event.reset();
        } );
        event->set();
        waiter.join();
    }
}

} // namespace
} // namespace Qv
