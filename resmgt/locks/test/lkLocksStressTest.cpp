#include <base/locks/lkGuard.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkSema.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <random>

/// The watchdog makes a lost wake-up a failure.

namespace Qv {
namespace {

using Guard = LkGuard<const LkLock>;

/// Waiters wait `nbWaits` times each on one variable, while others wake without the lock until all
/// are done.
template <class Wake>
void waitAndWake( int nbWaiters, int nbWakers, long nbWaits, Wake wake ) {
    const LkLock lock( "lock" );
    const LkCondVar condVar( "condVar" );
    std::atomic<int> nbLeft{ nbWaiters };
    long nbDone = 0;
    {
        std::list<TestThread> threads;
        for( int i = 0; i < nbWaiters; ++i ) {
            threads.emplace_back( [&] {
                for( long round = 0; round < nbWaits; ++round ) {
                    const Guard guard( lock );
                    condVar.wait( guard );
                    ++nbDone;
                }
                --nbLeft;
            } );
        }
        const std::uint64_t seed = testSeed();
        for( int i = 0; i < nbWakers; ++i ) {
            threads.emplace_back( [&, i, seed] {
                std::minstd_rand random( static_cast<unsigned int>( seed ) +
                                         static_cast<unsigned int>( i ) );
                while( nbLeft > 0 ) {
                    wake( condVar, random );
                }
            } );
        }
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
    std::list<TestThread> threads;
    for( int i = 0; i < NB_WAITERS; ++i ) {
        threads.emplace_back( [&, i] {
            // One waits without limit: a post that is lost to the others' time-outs stops it.
            for( bool isOver = false; !isOver; ) {
                if( i == 0 ) {
                    sema.wait();
                } else if( !sema.timedWait( 0.001 ) ) {
                    continue;
                }
                isOver = ++nbTaken > nbPosts;
            }
        } );
    }
    for( long i = 0; i < nbPosts + NB_WAITERS; ++i ) {
        sema.post();
    }
    threads.clear();
    EXPECT_EQ( nbTaken, nbPosts + NB_WAITERS );
    EXPECT_FALSE( sema.tryWait() );
}

} // namespace
} // namespace Qv
