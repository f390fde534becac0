#include <base/locks/lkLock.h>
#include <tests/support/deniedCall.h>
#include <tests/support/dumpOf.h>
#include <tests/support/gate.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace Qv {

namespace {

/// The analysis knows no lock whose holder may lock it again.
void lockAndUnlock( const LkLock& lock ) QV_NO_THREAD_SAFETY_ANALYSIS {
    const LkGuard<const LkLock> guard( lock );
}

/// A lock of which all that guards the same count of sleepers as `like` is its address.
const LkLockPosix& sharingTheCountOf( const LkLockPosix& like ) {
    static LkLockPosix locks[16 << LkSleepers::NB_COUNTS_LOG2];
    for( const LkLockPosix& lock : locks ) {
        if( &lock != &like && LkSleepers::getIndex( &lock ) == LkSleepers::getIndex( &like ) ) {
            return lock;
        }
    }
    throw std::logic_error( "no lock shares its count" );
}

std::uint32_t nbSleepers() {
    return std::accumulate( std::begin( LkSleepers::counts ), std::end( LkSleepers::counts ), 0u );
}

/// The status of a forked child that exits with what `body` returns.
int statusOfChild( const std::function<int()>& body ) {
    const pid_t child = ::fork();
    if( child == 0 ) {
        ::_exit( body() );
    }
    int status = -1;
    EXPECT_EQ( ::waitpid( child, &status, 0 ), child );
    return status;
}

} // namespace

TEST( LkLockTest, ItsHolderIsNamedAndNotBlockedAndTheInnerGuardGivesNothingBack ) {
    const LkLock lock( "nested" );
    {
        const LkGuard<const LkLock> outer( lock );
        lockAndUnlock( lock );
        EXPECT_EQ( lock.getImp().getHolder(), ThreadNumber::get() );
        EXPECT_FALSE( lock.getImp().lock() );
        EXPECT_EQ( dumpOf( lock ),
                   "name nested holder " + std::to_string( ThreadNumber::get() ) + '\n' );
    }
    EXPECT_EQ( lock.getImp().getHolder(), 0u );
}

TEST( LkThreadIdTest, AnswersOnlyToTheThreadThatStoredItself ) {
    LkThreadId id;
    EXPECT_FALSE( id.isCurrentThread() );
    id.setCurrentThread();
    EXPECT_TRUE( id.isCurrentThread() );
    TestThread( [&] {
        EXPECT_FALSE( id.isCurrentThread() );
        LkThreadId own;
        own.setCurrentThread();
        EXPECT_FALSE( own == id );
        EXPECT_NE( own < id, id < own );
    } ).join();
    id.reset();
    EXPECT_FALSE( id.isCurrentThread() );
    EXPECT_EQ( id, LkThreadId( LkThreadId::NO_THREAD ) );
}

TEST( LkSleepersTest, EverySleeperOfSeveralLocksIsWokenNoAdditionLostAndNoSleeperLeft ) {
    constexpr unsigned NB_THREADS = 6;
    struct {
        LkLockPosix lock;
        long count = 0;
    } counted[3];
    const long rounds = scaledCount( 20000 );
    TestThreads( NB_THREADS, [&counted, rounds]( unsigned int i ) {
        std::mt19937 random( testSeed() + i );
        for( long round = 0; round < rounds; ++round ) {
            auto& chosen = counted[random() % std::size( counted )];
            chosen.lock.lock();
            ++chosen.count;
            if( random() % 64 == 0 ) {
                std::this_thread::yield();
            }
            chosen.lock.unlock();
        }
    } ).join();
    EXPECT_EQ( counted[0].count + counted[1].count + counted[2].count, NB_THREADS * rounds );
    EXPECT_EQ( nbSleepers(), 0u );
}

TEST( LkSleepersTest, WhereTheSystemHasNoBarrierUnlockingHasAFence ) {
    const auto testWithout = [] {
        denyCall( SYS_membarrier, ENOSYS );
        const char* const filter = "--gtest_filter=LkSleepersTest.EverySleeper*";
        return ::execl( "/proc/self/exe", "baseTest", filter, nullptr );
    };
    EXPECT_EQ( statusOfChild( testWithout ), 0 );
}

TEST( LkSleepersTest, ASleeperWhoseBarrierFailsFindsALockThatWasGivenBackUnseen ) {
    std::atomic<std::uint32_t> word{ 1 };
    TestThread sleeper( [&] {
        denyCall( SYS_membarrier, ENOSYS );
        errno = EDOM;
        EXPECT_TRUE( LkSleepers::waitForTurn( word, 2, LkSleepers::LAST ) );
        EXPECT_EQ( errno, EDOM );
    } );
    sleeper.waitUntilBlocked();
    // As by a holder that looked at the count before it could see this sleeper.
    word.store( 0, std::memory_order_release );
    sleeper.join();
    EXPECT_EQ( word.load(), 2u );
    EXPECT_EQ( nbSleepers(), 0u );
}

TEST( LkSleepersTest, ASleeperIsWokenOnceInVainAndGetsTheLockTheNextTime ) {
    LkLockPosix lock;
    Gate over( "over" );
    lock.lock();
    TestThread sleeper( [&] {
        lock.lock();
        over.wait();
        lock.unlock();
    } );
    sleeper.waitUntilBlocked();
    // As by a holder behind which another was quicker.
    LkSleepers::wakeOne( &lock );
    sleeper.waitUntilBlocked();
    for( int i = 0; i < 20; ++i ) {
        LkSleepers::wakeOne( &lock );
        EXPECT_EQ( nbSleepers(), 1u ) << "woken in vain again";
    }
    lock.unlock();
    EXPECT_NE( lock.getHolder(), 0u ) << "free, and the sleeper no nearer to it";
    over.open();
    sleeper.join();
    EXPECT_EQ( nbSleepers(), 0u );
}

TEST( LkSleepersTest, TheFirstIsGivenTheLockUnlessAnotherIsQuickerAndOtherLocksKeepTheirOrder ) {
    std::atomic<std::uint32_t> words[2] = { 1, 1 };
    const auto startWaiter = [&]( std::uint32_t number, std::size_t word,
                                  LkSleepers::Place place ) {
        auto waiter = std::make_unique<TestThread>( [&words, number, word, place] {
            const bool isFirst = place == LkSleepers::FIRST;
            EXPECT_EQ( LkSleepers::waitForTurn( words[word], number, place ), isFirst );
        } );
        waiter->waitUntilBlocked();
        return waiter;
    };
    const auto last = startWaiter( 2, 0, LkSleepers::LAST );
    const auto other = startWaiter( 3, 1, LkSleepers::LAST );
    const auto first = startWaiter( 4, 0, LkSleepers::FIRST );
    LkSleepers::wakeOne( &words[0] );
    EXPECT_EQ( nbSleepers(), 3u ) << "the word is taken";
    words[0] = 0;
    LkSleepers::wakeOne( &words[0] );
    EXPECT_EQ( words[0], 4u );
    first->join();
    for( std::atomic<std::uint32_t>& word : words ) {
        word = 0;
        LkSleepers::wakeOne( &word );
        EXPECT_EQ( word, 0u ) << "a lock without a running holder";
    }
    last->join();
    other->join();
    EXPECT_EQ( nbSleepers(), 0u );
}

TEST( LkSleepersTest, ALockThatSharesTheCountWakesNobodyElse ) {
    LkLockPosix lock;
    const LkLockPosix& neighbour = sharingTheCountOf( lock );
    bool isFree = false;
    lock.lock();
    TestThread sleeper( [&] {
        lock.lock();
        EXPECT_TRUE( isFree );
        lock.unlock();
    } );
    sleeper.waitUntilBlocked();
    neighbour.lock();
    neighbour.unlock();
    EXPECT_EQ( LkSleepers::counts[LkSleepers::getIndex( &lock )].load( std::memory_order_relaxed ),
               1u );
    isFree = true;
    lock.unlock();
    sleeper.join();
}

TEST( LkSleepersTest, WhoeverTakesALockNextMayDestroyIt ) {
    const long rounds = scaledCount( 3000 );
    for( long round = 0; round < rounds; ++round ) {
        auto lock = std::make_unique<LkLockPosix>();
        lock->lock();
        TestThread other( [&lock] {
            lock->lock();
            lock.reset();
        } );
        if( round % 2 == 0 ) {
            std::this_thread::yield();
        }
        lock->unlock();
        other.join();
    }
}

TEST( LkSleepersTest, AForkedChildHasNoSleepers ) {
    LkLockPosix lock;
    lock.lock();
    TestThread sleeper( [&] {
        lock.lock();
        lock.unlock();
    } );
    sleeper.waitUntilBlocked();
    EXPECT_EQ( statusOfChild( [] { return nbSleepers() == 0 ? 0 : 1; } ), 0 );
    lock.unlock();
    sleeper.join();
}

} // namespace Qv
