#include <resmgt/locks/lkRecLock.h>
#include <tests/support/dumpOf.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

namespace Qv {

class LkRecLockTest : public ::testing::Test {
protected:
    using Guard = LkGuard<LkRecLock>;

    // The analysis can't follow a lock that is tried and given back in two places.
    bool tryLock() QV_NO_THREAD_SAFETY_ANALYSIS { return _lock.tryLock(); }
    void unlock() QV_NO_THREAD_SAFETY_ANALYSIS { _lock.unlock(); }
    void countTwice( long& count ) QV_NO_THREAD_SAFETY_ANALYSIS {
        const Guard outer( _lock );
        ++count;
        const Guard inner( _lock );
        ++count;
    }

    LkRecLock _lock{ "name" };
};

TEST_F( LkRecLockTest, HolderNestsAndOthersSeeItLockedUntilTheLastUnlock ) {
    const std::string self = std::to_string( ThreadNumber::get() );
    const auto inOther = [this]( bool isLocked ) {
        TestThread( [&] {
            EXPECT_EQ( _lock.isLocked(), isLocked );
            EXPECT_FALSE( _lock.isLockedByThread() );
            EXPECT_EQ( tryLock(), !isLocked );
            if( !isLocked ) {
                unlock();
            }
        } ).join();
    };
    inOther( false );
    {
        const Guard outer( _lock );
        EXPECT_EQ( dumpOf( _lock ), "name name holder " + self + " count 1" );
        EXPECT_TRUE( tryLock() );
        EXPECT_EQ( dumpOf( _lock ), "name name holder " + self + " count 2" );
        inOther( true );
        unlock();
        EXPECT_EQ( dumpOf( _lock ), "name name holder 0 count 1" );
        EXPECT_TRUE( _lock.isLockedByThread() );
        inOther( true );
    }
    EXPECT_FALSE( _lock.isLocked() );
    EXPECT_FALSE( _lock.isLockedByThread() );
    EXPECT_EQ( dumpOf( _lock ), "name name holder 0 count 0" );
    inOther( false );
}

TEST_F( LkRecLockTest, NestedSectionsOfManyThreadsExcludeEachOther ) {
    constexpr int NB_THREADS = 4;
    const long nbRounds = scaledCount( 50'000 );
    long count = 0;
    TestThreads( NB_THREADS, [&] {
        for( long round = 0; round < nbRounds; ++round ) {
            countTwice( count );
        }
    } ).join();
    EXPECT_EQ( count, 2 * NB_THREADS * nbRounds );
}

} // namespace Qv
