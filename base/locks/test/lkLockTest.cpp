#include <base/locks/lkLock.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <memory>
#include <sstream>
#include <vector>

namespace Qv {

namespace {

/// The analysis knows no lock whose holder may lock it again.
void lockAndUnlock( const LkLock& lock ) QV_NO_THREAD_SAFETY_ANALYSIS {
    const LkGuard<const LkLock> guard( lock );
}

} // namespace

TEST( LkLockTest, itsHolderIsNotBlockedAndTheInnerGuardGivesNothingBack ) {
    const LkLock lock( "nested" );
    {
        const LkGuard<const LkLock> outer( lock );
        lockAndUnlock( lock );
        EXPECT_EQ( lock.getImp().getHolder(), ThreadNumber::get() );
        EXPECT_FALSE( lock.getImp().lock() );
    }
    EXPECT_EQ( lock.getImp().getHolder(), 0u );
}

TEST( LkLockTest, anotherThreadWaitsUntilTheHolderIsDone ) {
    const LkLock lock( "contended" );
    int value = 0;
    std::unique_ptr<TestThread> waiter;
    {
        const LkGuard<const LkLock> guard( lock );
        waiter = std::make_unique<TestThread>( [&] {
            const LkGuard<const LkLock> inner( lock );
            EXPECT_EQ( value, 1 );
        } );
        waiter->waitUntilBlocked();
        value = 1;
    }
    waiter->join();
}

TEST( LkLockTest, countsOfManyThreadsAreNeverLost ) {
    const LkLock lock( "counter" );
    const long rounds = scaledCount( 200000 );
    long count = 0;
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for( int i = 0; i < 4; ++i ) {
            threads.push_back( std::make_unique<TestThread>( [&] {
                for( long round = 0; round < rounds; ++round ) {
                    const LkGuard<const LkLock> guard( lock );
                    ++count;
                }
            } ) );
        }
    }
    EXPECT_EQ( count, 4 * rounds );
}

TEST( LkLockTest, dumpNamesTheHolder ) {
    const LkLock lock( "dumped" );
    std::ostringstream held;
    std::ostringstream expected;
    expected << "name dumped holder " << ThreadNumber::get() << '\n';
    const LkGuard<const LkLock> guard( lock );
    lock.dump( held );
    EXPECT_EQ( held.str(), expected.str() );
}

TEST( LkThreadIdTest, answersOnlyToTheThreadThatStoredItself ) {
    LkThreadId id;
    EXPECT_FALSE( id.isCurrentThread() );
    id.setCurrentThread();
    EXPECT_TRUE( id.isCurrentThread() );
    TestThread other( [&] {
        EXPECT_FALSE( id.isCurrentThread() );
        LkThreadId own;
        own.setCurrentThread();
        EXPECT_FALSE( own == id );
        EXPECT_NE( own < id, id < own );
    } );
    other.join();
    id.reset();
    EXPECT_FALSE( id.isCurrentThread() );
    EXPECT_EQ( id, LkThreadId( LkThreadId::NO_THREAD ) );
}

} // namespace Qv
