#include <base/locks/lkGuard.h>
#include <resmgt/locks/lkAccessLimiter.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkCondVarPool.h>
#include <resmgt/locks/lkGate.h>
#include <resmgt/locks/lkRwLock.h>
#include <resmgt/locks/lkSema.h>
#include <resmgt/locks/lkTicket.h>
#include <tests/support/gate.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <vector>

/// The watchdog makes a lost wake-up a failure.

namespace Qv {

class LkRwLockTest {
public:
    /// Runs `body` if the lock is free for it.
    template <class Lock, class Body>
    static void tryToHold( Lock& lock, Body body ) QV_NO_THREAD_SAFETY_ANALYSIS {
        if( lock.tryLock() ) {
            body();
            lock.unlock();
        }
    }
};

namespace {

using Guard = LkGuard<const LkLock>;

/// A generator of a thread's own, which the run's seed decides.
std::minstd_rand makeRandom( unsigned int number ) {
    return std::minstd_rand( static_cast<unsigned int>( testSeed() ) + number );
}

/// Waiters wait `nbWaits` times each on one variable, while others wake without the lock until all
/// are done.
template <class Wake>
void waitAndWake( unsigned int nbWaiters, unsigned int nbWakers, long nbWaits, Wake wake ) {
    const LkLock lock( "lock" );
    const LkCondVar condVar( "condVar" );
    std::atomic<unsigned int> nbLeft{ nbWaiters };
    long nbDone = 0;
    {
        const TestThreads waiters( nbWaiters, [&] {
            for( long round = 0; round < nbWaits; ++round ) {
                const Guard guard( lock );
                condVar.wait( guard );
                ++nbDone;
            }
            --nbLeft;
        } );
        const TestThreads wakers( nbWakers, [&]( unsigned int number ) {
            std::minstd_rand random = makeRandom( number );
            while( nbLeft > 0 ) {
                wake( condVar, random );
            }
        } );
    }
    EXPECT_EQ( nbDone, nbWaiters * nbWaits );
}

TEST( LkLocksStressTest, MillionsOfSignalsAndBroadcastsWithoutTheLockEndAndForgetNoWaiter ) {
    waitAndWake( 3, 2, scaledCount( 700'000 ),
                 []( const LkCondVar& condVar, auto& ) { condVar.broadcast(); } );
    waitAndWake( 4, 3, scaledCount( 200'000 ), []( const LkCondVar& condVar, auto& random ) {
        if( random() % 16 == 0 ) {
            condVar.broadcast();
        } else {
            condVar.signal();
        }
    } );
}

TEST( LkLocksStressTest, ConditionIsHandedOverWithoutLoss ) {
    const long nbRounds = scaledCount( 50'000 );
    const LkLock lock( "lock" );
    const LkCondVar newest( "newest" );
    const LkTimedCondVar oldest( "oldest" );
    long turn = 0;
    const auto play = [&]( long parity ) {
        for( long round = 0; round < nbRounds; ++round ) {
            const Guard guard( lock );
            while( turn % 2 != parity ) {
                if( parity == 0 ) {
                    newest.wait( guard );
                } else {
                    static_cast<void>( oldest.timedWait( guard, 0.001 ) );
                }
            }
            ++turn;
            newest.signal();
            oldest.signal();
        }
    };
    TestThread odd( [&] { play( 1 ); } );
    play( 0 );
    odd.join();
    EXPECT_EQ( turn, 2 * nbRounds );
}

TEST( LkLocksStressTest, SemaphoreGivesOutExactlyWhatWasPosted ) {
    constexpr int NB_WAITERS = 3;
    const long nbPosts = scaledCount( 100'000 );
    LkSema sema( "sema", 0 );
    std::atomic<long> nbTaken{ 0 };
    TestThreads threads( NB_WAITERS, [&]( unsigned int number ) {
        // One waits without limit: a post that is lost to the others' time-outs stops it.
        for( bool isOver = false; !isOver; ) {
            if( number == 0 ) {
                sema.wait();
            } else if( !sema.timedWait( 0.001 ) ) {
                continue;
            }
            isOver = ++nbTaken > nbPosts;
        }
    } );
    for( long i = 0; i < nbPosts + NB_WAITERS; ++i ) {
        sema.post();
    }
    threads.join();
    EXPECT_EQ( nbTaken, nbPosts + NB_WAITERS );
    EXPECT_FALSE( sema.tryWait() );
}

/// What writers alone change, and readers see at rest.
struct Guarded {
    void change() {
        EXPECT_EQ( first, second );
        ++first;
        ++second;
    }
    void look() const { EXPECT_EQ( first, second ); }

    long first = 0;
    long second = 0;
};

TEST( LkLocksStressTest, WritersAreAloneAndReadersSeeThemWhole ) {
    const long nbRounds = scaledCount( 100'000 );
    LkRwLock lock( "lock" );
    const LkRwLock& constLock = lock;
    Guarded guarded;
    std::atomic<long> nbChanges = 0;
    TestThreads( 4, [&]( unsigned int number ) {
        std::minstd_rand random = makeRandom( number );
        const auto change = [&] {
            guarded.change();
            ++nbChanges;
        };
        const auto look = [&] { guarded.look(); };
        for( long round = 0; round < nbRounds; ++round ) {
            switch( random() % 8 ) {
            case 0: {
                const LkGuard<LkRwLock> guard( lock );
                change();
                break;
            }
            case 1:
                LkRwLockTest::tryToHold( lock, change );
                break;
            case 2:
                LkRwLockTest::tryToHold( constLock, look );
                break;
            default: {
                const LkGuard<const LkRwLock> guard( lock );
                look();
            }
            }
        }
    } ).join();
    EXPECT_EQ( guarded.first, nbChanges );
    EXPECT_FALSE( lock.isLocked() || constLock.isLocked() );
}

/// Threads that know an object through a lock inside it; the last to give it up destroys it, while
/// others' unlocks are still returning.
TEST( LkLocksStressTest, WhoIsLastDestroysLocksAndTickets ) {
    struct Shared {
        explicit Shared( int nbUsers )
            : nbLeft( nbUsers ) {}

        LkRwLock lock{ "lock" };
        LkTicket ticket{ "ticket" };
        int nbLeft;
    };
    constexpr int NB_USERS = 3;
    const auto leave = []( Shared& shared, unsigned int number, bool byTicket ) {
        if( byTicket ) {
            const LkTicketGuard turn( shared.ticket, number );
            return --shared.nbLeft == 0;
        }
        { const LkGuard<const LkRwLock> guard( shared.lock ); }
        const LkGuard<LkRwLock> guard( shared.lock );
        return --shared.nbLeft == 0;
    };
    const long nbRounds = scaledCount( 100'000 );
    std::vector<std::atomic<Shared*>> all( static_cast<std::size_t>( nbRounds ) );
    for( std::atomic<Shared*>& shared : all ) {
        shared = std::make_unique<Shared>( NB_USERS ).release();
    }
    std::atomic<long> nbDestroyed = 0;
    Gate start( "start" );
    {
        const TestThreads users( NB_USERS, [&]( unsigned int number ) {
            start.wait();
            for( std::size_t i = 0; i < all.size(); ++i ) {
                Shared* const shared = all[i];
                if( leave( *shared, number, i % 2 == 0 ) ) {
                    const std::unique_ptr<Shared> last( shared );
                    ++nbDestroyed;
                }
            }
        } );
        start.open();
    }
    EXPECT_EQ( nbDestroyed, nbRounds );
}

TEST( LkLocksStressTest, GateesMeetAgainAndAgainWithKeepersObserversAndTheCurious ) {
    constexpr int NB_GATEES = 3;
    const long nbRounds = scaledCount( 3'000 );
    for( const bool useGateKeeper : { false, true } ) {
        LkGate gate( "gate", NB_GATEES, useGateKeeper );
        std::vector<long> rounds( NB_GATEES, 0 );
        std::atomic<bool> isOver = false;
        TestThread observer( [&] {
            while( !isOver ) {
                gate.observeGateReady();
            }
        } );
        TestThread curious( [&] {
            while( useGateKeeper && !isOver ) {
                static_cast<void>( gate.isGateReady() );
            }
        } );
        TestThreads gatees( NB_GATEES, [&]( std::size_t number ) {
            for( long round = 1; round <= nbRounds; ++round ) {
                rounds[number] = round;
                gate.ready();
                if( useGateKeeper ) {
                    continue;
                }
                // Nobody goes on before all have looked.
                EXPECT_THAT( rounds, ::testing::Each( round ) );
                gate.ready();
            }
        } );
        for( long round = 1; useGateKeeper && round <= nbRounds; ++round ) {
            const LkGateKeeperGuard keeper( gate );
            EXPECT_THAT( rounds, ::testing::Each( round ) );
        }
        gatees.join();
        isOver = true;
        curious.join();
        // An observer that looked just before wants one more meeting.
        while( !observer.isDone() ) {
            const TestThreads again( NB_GATEES, [&gate] { gate.ready(); } );
            if( useGateKeeper ) {
                const LkGateKeeperGuard keeper( gate );
            }
        }
    }
}

TEST( LkLocksStressTest, TicketsLetOneThreadAfterTheOtherThrough ) {
    constexpr int NB_THREADS = 3;
    const long nbTurns = scaledCount( 300'000 );
    LkTicket ticket( "ticket" );
    Gate start( "start" );
    std::atomic<long> nextNumber = 0;
    long turn = 0;
    {
        const TestThreads threads( NB_THREADS, [&] {
            start.wait();
            for( long number = nextNumber++; number < nbTurns; number = nextNumber++ ) {
                const LkTicketGuard guard( ticket, number );
                EXPECT_EQ( turn++, number );
            }
        } );
        start.open();
    }
    EXPECT_EQ( ticket.getTicket(), nbTurns );
}

TEST( LkLocksStressTest, LimitersComeAndGoAndNoGrantIsLost ) {
    using Group = LkAccessLimiterGroup;
    constexpr unsigned int MAXIMUM = 4;
    constexpr int NB_CLIENTS = 3;
    const long nbRounds = scaledCount( 10'000 );
    for( const auto strategy : { Group::RESERVE_FOR_IDLE_LIMITERS, Group::LIMIT_BY_AVAILABLE } ) {
        const RCShdPtr<Group> group = Group::create( "group", MAXIMUM, strategy );
        LkCondVarPool pool;
        TestThreads( NB_CLIENTS, [&]( unsigned int number ) {
            std::minstd_rand random = makeRandom( number );
            std::optional<LkAccessLimiter> limiter( std::in_place, group );
            for( long round = 0; round < nbRounds; ++round ) {
                if( random() % 64 == 0 ) {
                    limiter.emplace( group );
                }
                const auto hold = [&] {
                    const LkGuard<const LkAccessLimiter> guard( *limiter );
                    EXPECT_LE( group->getGrantCount(), MAXIMUM + NB_CLIENTS );
                    OPtr<LkCondVar> pulse( pool.getCondVar() );
                    pool.recycleCondVar( pulse );
                };
                // Two threads of one client want a grant each; neither holds one while it waits.
                std::optional<TestThread> second;
                if( random() % 16 == 0 ) {
                    second.emplace( hold );
                }
                hold();
            }
        } ).join();
        EXPECT_EQ( group->getGrantCount(), 0u );
        EXPECT_EQ( group->getNbAccessLimiters(), 0u );
    }
}

} // namespace
} // namespace Qv
