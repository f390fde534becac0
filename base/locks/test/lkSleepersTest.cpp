#include <base/locks/lkLock.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Qv {

namespace {

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

/// Threads that queue for several locks at a time, hold them across a yield, and sleep often.
void runManyLocks() {
    constexpr int NB_THREADS = 6;
    constexpr std::size_t NB_LOCKS = 3;
    struct Counted {
        LkLockPosix lock;
        long count = 0;
    };
    Counted counted[NB_LOCKS];
    const long rounds = scaledCount( 20000 );
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for( unsigned i = 0; i < NB_THREADS; ++i ) {
            threads.push_back( std::make_unique<TestThread>( [&counted, rounds, i] {
                std::mt19937 random( testSeed() + i );
                for( long round = 0; round < rounds; ++round ) {
                    Counted& chosen = counted[random() % NB_LOCKS];
                    chosen.lock.lock();
                    ++chosen.count;
                    if( random() % 64 == 0 ) {
                        std::this_thread::yield();
                    }
                    chosen.lock.unlock();
                }
            } ) );
        }
    }
    long sum = 0;
    for( const Counted& each : counted ) {
        sum += each.count;
    }
    EXPECT_EQ( sum, NB_THREADS * rounds );
}

/// From now on, and in every program that this process becomes, the system has no barrier.
void denyBarrier() {
    sock_filter program[] = {
        BPF_STMT( BPF_LD | BPF_W | BPF_ABS, offsetof( seccomp_data, nr ) ),
        BPF_JUMP( BPF_JMP | BPF_JEQ | BPF_K, SYS_membarrier, 0, 1 ),
        BPF_STMT( BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS ),
        BPF_STMT( BPF_RET | BPF_K, SECCOMP_RET_ALLOW ),
    };
    const sock_fprog filter = { std::size( program ), program };
    if( ::prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 ||
        ::prctl( PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter ) != 0 ) {
        ::_exit( 3 );
    }
}

} // namespace

TEST( LkSleepersTest, everySleeperOfSeveralLocksIsWokenAndNoCountIsLeft ) {
    runManyLocks();
    for( const std::atomic<std::uint32_t>& count : LkSleepers::counts ) {
        EXPECT_EQ( count.load( std::memory_order_relaxed ), 0u );
    }
}

TEST( LkSleepersTest, whereTheSystemHasNoBarrierUnlockingHasAFence ) {
    const char* const filter = "--gtest_filter=LkSleepersTest.everySleeper*";
    const pid_t child = ::fork();
    if( child == 0 ) {
        denyBarrier();
        ::execl( "/proc/self/exe", "baseTest", filter, nullptr );
        ::_exit( 4 );
    }
    int status = -1;
    ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
    EXPECT_EQ( status, 0 );
}

TEST( LkSleepersTest, aLockThatSharesTheCountWakesNobodyElse ) {
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

TEST( LkSleepersTest, whoeverTakesALockNextMayDestroyIt ) {
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

TEST( LkSleepersTest, aForkedChildHasNoSleepers ) {
    LkLockPosix lock;
    lock.lock();
    TestThread sleeper( [&] {
        lock.lock();
        lock.unlock();
    } );
    sleeper.waitUntilBlocked();
    const pid_t child = ::fork();
    if( child == 0 ) {
        for( const std::atomic<std::uint32_t>& count : LkSleepers::counts ) {
            if( count.load( std::memory_order_relaxed ) != 0 ) {
                ::_exit( 1 );
            }
        }
        ::_exit( 0 );
    }
    int status = -1;
    ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
    EXPECT_EQ( status, 0 );
    lock.unlock();
    sleeper.join();
}

} // namespace Qv
