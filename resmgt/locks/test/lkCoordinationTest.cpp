#include <base/failure/assertions.h>
#include <resmgt/locks/lkAccessLimiter.h>
#include <resmgt/locks/lkCondVarPool.h>
#include <resmgt/locks/lkGate.h>
#include <resmgt/locks/lkTicket.h>
#include <resmgt/locks/test/futexWaitHook.h>
#include <tests/support/deadline.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <list>
#include <new>
#include <optional>
#include <string>

namespace Qv {

using ::testing::HasSubstr;

namespace {

void waitForReady( const LkGate& gate, int numReady ) {
    const std::string text = "num ready: " + std::to_string( numReady ) + '\n';
    waitUntil( [&] { return dumpOf( gate ).find( text ) != std::string::npos; }, text.c_str() );
}

TEST( LkGateTest, LastOfThreeOpensAndAnEarlyOneCountsForTheNextMeeting ) {
    LkGate gate( "gate", 3, false );
    std::atomic<int> nbPassed = 0;
    for( int round = 1; round <= 2; ++round ) {
        std::list<TestThread> gatees;
        for( int i = 1; i <= 2; ++i ) {
            gatees.emplace_back( [&] {
                gate.ready();
                ++nbPassed;
            } );
            waitForReady( gate, i );
        }
        EXPECT_EQ( nbPassed, 2 * ( round - 1 ) );
        gate.ready();
        waitForReady( gate, 0 );
        gatees.clear();
        EXPECT_EQ( nbPassed, 2 * round );
    }
}

TEST( LkGateTest, KeeperRunsAloneWhileAllGateesAreParked ) {
    LkGate gate( "gate", 2, true );
    std::atomic<int> nbPassed = 0;
    std::list<TestThread> gatees;
    for( int i = 1; i <= 2; ++i ) {
        EXPECT_FALSE( gate.isGateReady() );
        gatees.emplace_back( [&] {
            gate.ready();
            ++nbPassed;
        } );
        waitForReady( gate, i );
    }
    waitUntil( [&] { return gate.isGateReady(); }, "the gate is full" );
    EXPECT_TRUE( gate.isGateReady() );
    {
        const LkGateKeeperGuard keeper( gate );
        EXPECT_FALSE( gate.isGateReady() );
        for( TestThread& gatee : gatees ) {
            gatee.waitUntilBlocked();
        }
        EXPECT_EQ( nbPassed, 0 );
        EXPECT_THAT( raisedBy( [&] { gate.ready(); } ), HasSubstr( "_numReady < _numGatees" ) );
    }
    gatees.clear();
    EXPECT_EQ( nbPassed, 2 );
    EXPECT_FALSE( gate.isGateReady() );
}

TEST( LkGateTest, ObserverReturnsIfTheGateHasBeenFullSinceItCame ) {
    for( const bool useGateKeeper : { false, true } ) {
        LkGate gate( "gate", 1, useGateKeeper );
        TestThread observer( [&] { gate.observeGateReady(); } );
        observer.waitUntilBlocked();
        // It may come to look only when the gate has filled and opened again.
        TestThread gatee( [&] { gate.ready(); } );
        if( useGateKeeper ) {
            const LkGateKeeperGuard keeper( gate );
            gate.observeGateReady();
        }
        observer.join();
    }
}

TEST( LkGateTest, GateeWhoseWaitRaisesIsntThereUnlessTheKeeperHasCome ) {
    LkGate gate( "gate", 2, true );
    const auto failToWait = [&gate] {
        TestThread( [&] {
            const FailingNew failing( 0 );
            EXPECT_THROW( gate.ready(), std::bad_alloc );
        } ).join();
    };
    failToWait();
    waitForReady( gate, 0 );
    TestThread first( [&] { gate.ready(); } );
    waitForReady( gate, 1 );
    // The moment of a full gate is taken back.
    failToWait();
    EXPECT_FALSE( gate.isGateReady() );
    waitForReady( gate, 1 );
    HoldPoint sleep( "the sleep fails" );
    TestThread second( [&] {
        const FutexWaitHook hook( sleep, EPERM );
        EXPECT_THROW( gate.ready(), ExAssertionFailed );
    } );
    {
        const LkGateKeeperGuard keeper( gate );
        sleep.release();
        second.join();
        waitForReady( gate, 2 );
    }
    first.join();
    waitForReady( gate, 0 );
}

TEST( LkGateTest, MisuseIsAnAssertionAndAStolenGateIsOfNoUse ) {
    EXPECT_THAT( raisedBy( [] { LkGate( "gate", 0, true ); } ), HasSubstr( "numGatees > 0" ) );
    LkGate open( "open", 1, false );
    EXPECT_THAT( raisedBy( [&] { open.isGateReady(); } ), HasSubstr( "_useGateKeeper" ) );
    EXPECT_THAT( raisedBy( [&] { const LkGateKeeperGuard guard( open ); } ),
                 HasSubstr( "_useGateKeeper" ) );
    EXPECT_EQ( dumpOf( open ), "open: gatekeeper: no, num gatees: 1\nCurrent state: num ready: 0\n"
                               "Internal lock: set\nGate cond var: set\nGatekeeper sema: unused" );
    LkGate kept( "kept", 1, true );
    LkGate thief( kept );
    EXPECT_STREQ( thief.getName(), "kept" );
    EXPECT_EQ( dumpOf( kept ), "kept: gatekeeper: yes, num gatees: 1\nCurrent state: num ready: 0\n"
                               "Internal lock: not set\nGate cond var: not set\n"
                               "Gatekeeper sema: not set" );
    EXPECT_THROW( kept.ready(), ExAssertionFailed );
    EXPECT_THROW( kept.isGateReady(), ExAssertionFailed );
    EXPECT_THROW( const LkGateKeeperGuard guard( kept ), ExAssertionFailed );
    TestThread gatee( [&] { thief.ready(); } );
    waitUntil( [&] { return thief.isGateReady(); }, "the thief is full" );
    EXPECT_THROW( LkGate late( thief ), ExAssertionFailed );
    const LkGateKeeperGuard keeper( thief );
}

TEST( LkPulsePoolTest, WhatWasGivenBackLastComesFirst ) {
    const auto check = []( auto& pool, auto get, auto recycle, const char* name ) {
        auto first = get( pool );
        auto second = get( pool );
        EXPECT_STREQ( first->getName(), name );
        const void* const addresses[] = { first.get(), second.get() };
        {
            const FailingNew failing( 0 );
            EXPECT_THROW( recycle( pool, first ), std::bad_alloc );
        }
        EXPECT_EQ( first.get(), addresses[0] );
        recycle( pool, first );
        recycle( pool, second );
        EXPECT_TRUE( first.isNull() );
        EXPECT_THROW( recycle( pool, first ), ExAssertionFailed );
        second = get( pool );
        EXPECT_EQ( second.get(), addresses[1] );
        first = get( pool );
        EXPECT_EQ( first.get(), addresses[0] );
        recycle( pool, second );
    };
    LkCondVarPool pool;
    check(
        pool, []( auto& from ) { return OPtr<LkCondVar>( from.getCondVar() ); },
        []( auto& to, auto& condVar ) { to.recycleCondVar( condVar ); }, "LkCondVarPool_pulse" );
    LkTimedCondVarPool timedPool;
    check(
        timedPool, []( auto& from ) { return OPtr<LkTimedCondVar>( from.getTimedCondVar() ); },
        []( auto& to, auto& condVar ) { to.recycleTimedCondVar( condVar ); },
        "LkTimedCondVarPool_pulse" );
}

} // namespace

class LkTicketTest : public ::testing::Test {
protected:
    bool waitForTicket( long long number ) const { return _ticket.waitForTicket( number ); }
    int nbSleepers() const {
        const LkGuard<const LkLock> guard( _ticket._lock );
        return static_cast<int>( _ticket._nbSleepers );
    }

    /// No sleeper sees the first.
    void passTwoTurnsAtOnce() {
        const LkGuard<const LkLock> guard( _ticket._lock );
        _ticket.next();
        _ticket.next();
    }

    LkTicket _ticket{ "ticket" };
};

TEST_F( LkTicketTest, TurnsComeInTheOrderOfTheirNumbers ) {
    EXPECT_FALSE( waitForTicket( _ticket.getTicket() ) );
    std::string order;
    std::list<TestThread> threads;
    for( const int number : { 3, 1, 2 } ) {
        threads.emplace_back( [this, &order, number] {
            const LkTicketGuard turn( _ticket, number );
            EXPECT_TRUE( turn.hasWaited() );
            order += std::to_string( number );
        } );
        threads.back().waitUntilBlocked();
    }
    EXPECT_EQ( nbSleepers(), 3 );
    EXPECT_FALSE( LkTicketGuard( _ticket, 0 ).hasWaited() );
    threads.clear();
    EXPECT_EQ( order, "123" );
    EXPECT_EQ( _ticket.getTicket(), 4 );
    EXPECT_EQ( nbSleepers(), 0 );
}

TEST_F( LkTicketTest, NumberThatHasPassedIsAnAssertionBeforeAndDuringTheWait ) {
    // It sleeps through its own turn, and finds it gone.
    TestThread late( [this] {
        EXPECT_THAT( raisedBy( [this] { const LkTicketGuard turn( _ticket, 1 ); } ),
                     HasSubstr( "ticket >= _ticket" ) );
    } );
    late.waitUntilBlocked();
    passTwoTurnsAtOnce();
    late.join();
    EXPECT_THAT( raisedBy( [this] { const LkTicketGuard turn( _ticket, 1 ); } ),
                 HasSubstr( "ticket >= _ticket" ) );
    EXPECT_EQ( _ticket.getTicket(), 2 );
    EXPECT_EQ( nbSleepers(), 0 );
    EXPECT_FALSE( LkTicketGuard( _ticket, 2 ).hasWaited() );
}

TEST_F( LkTicketTest, WaitThatRaisesIsntCounted ) {
    TestThread( [this] {
        const FailingNew failing( 0 );
        EXPECT_THROW( LkTicketGuard( _ticket, 1 ), std::bad_alloc );
    } ).join();
    EXPECT_EQ( nbSleepers(), 0 );
    _ticket.next();
    EXPECT_EQ( _ticket.getTicket(), 1 );
}

class LkAccessLimiterTest : public ::testing::Test {
protected:
    using Group = LkAccessLimiterGroup;

    void start( unsigned int maximum, Group::MaxViolationStrategy strategy ) {
        _group = Group::create( "group", maximum, strategy );
    }
    // The analysis knows no lock that is held twice.
    static void lock( const LkAccessLimiter& limiter ) QV_NO_THREAD_SAFETY_ANALYSIS {
        EXPECT_TRUE( limiter.lock() );
    }
    static bool tryLock( const LkAccessLimiter& limiter ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return limiter.tryLock();
    }
    static void unlock( const LkAccessLimiter& limiter ) QV_NO_THREAD_SAFETY_ANALYSIS {
        limiter.unlock();
    }
    /// A thread that takes a grant, once it sleeps for it.
    TestThread& startWaiter( const LkAccessLimiter& limiter ) {
        _waiters.emplace_back( [&] { lock( limiter ); } );
        _waiters.back().waitUntilBlocked();
        return _waiters.back();
    }

    RCShdPtr<Group> _group;
    std::list<TestThread> _waiters;
};

TEST_F( LkAccessLimiterTest, FirstGrantIsFreeAndTheSecondWaitsForOneAvailable ) {
    start( 1, Group::LIMIT_BY_AVAILABLE );
    const LkAccessLimiter first( _group );
    const LkAccessLimiter second( _group );
    lock( first );
    lock( second );
    EXPECT_EQ( _group->getGrantCount(), 2u );
    EXPECT_FALSE( tryLock( first ) || tryLock( second ) );
    TestThread& waiter = startWaiter( first );
    EXPECT_EQ( first.getAccessGrants(), 1u );
    {
        // One back is not enough: none is available still.
        unlock( second );
        EXPECT_FALSE( second.isLocked() );
        EXPECT_FALSE( tryLock( first ) );
    }
    // The last grant of its own limiter makes the waiter's request a first one.
    unlock( first );
    waiter.join();
    EXPECT_EQ( first.getAccessGrants(), 1u );
    unlock( first );
    EXPECT_EQ( _group->getGrantCount(), 0u );
}

TEST_F( LkAccessLimiterTest, ReserveKeepsOneForEachIdleLimiterUntilThatIsGone ) {
    start( 2, Group::RESERVE_FOR_IDLE_LIMITERS );
    const LkAccessLimiter busy( _group );
    std::optional<LkAccessLimiter> idle( std::in_place, _group );
    EXPECT_EQ( _group->getNbAccessLimiters(), 2u );
    lock( busy );
    EXPECT_FALSE( tryLock( busy ) );
    TestThread& waiter = startWaiter( busy );
    idle.reset();
    waiter.join();
    EXPECT_EQ( busy.getAccessGrants(), 2u );
    EXPECT_EQ( _group->getNbAccessLimiters(), 1u );
    EXPECT_FALSE( tryLock( busy ) );
    unlock( busy );
    EXPECT_TRUE( tryLock( busy ) );
    unlock( busy );
    unlock( busy );
}

TEST_F( LkAccessLimiterTest, WaitThatRaisesTakesNothing ) {
    start( 1, Group::LIMIT_BY_AVAILABLE );
    const LkAccessLimiter limiter( _group );
    lock( limiter );
    TestThread( [&] {
        const FailingNew failing( 0 );
        EXPECT_THROW( lock( limiter ), std::bad_alloc );
    } ).join();
    EXPECT_EQ( limiter.getAccessGrants(), 1u );
    EXPECT_EQ( _group->getGrantCount(), 1u );
    unlock( limiter );
}

TEST_F( LkAccessLimiterTest, QuestionsAndMisuse ) {
    EXPECT_THROW( start( 1u + INT_MAX, Group::LIMIT_BY_AVAILABLE ), ExAssertionFailed );
    start( 3, Group::LIMIT_BY_AVAILABLE );
    const LkAccessLimiter limiter( _group );
    EXPECT_STREQ( limiter.getName(), "group" );
    EXPECT_EQ( dumpOf( limiter ), "LkAccessLimiter \"group\"" );
    EXPECT_EQ( limiter.getGroup(), _group );
    EXPECT_EQ( _group->getMaxAccesses(), 3u );
    EXPECT_EQ( _group->getMaxViolationStrategy(), Group::LIMIT_BY_AVAILABLE );
    EXPECT_THROW( limiter.isLockedByThread(), ExProgramAborted );
    const LkGuard<const LkAccessLimiter> guard( limiter );
    EXPECT_TRUE( limiter.isLocked() );
}

} // namespace Qv
