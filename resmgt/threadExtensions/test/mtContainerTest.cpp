#include <resmgt/threadExtensions/mtContainer.h>

#include <resmgt/locks/test/futexWaitHook.h>
#include <resmgt/threadExtensions/test/job.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace Qv {

/// Holds the container's lock where a thread must be kept from running on.
class MtContainerTest : public ::testing::Test {
protected:
    using Container = MtContainer<std::queue<Job>>;

    struct Client {
        bool isOwnWorker() const { return false; }
        bool isPastLimit() const { return false; }
        void pokeHelpers() {}
    };

    MtContainerTest() {
        serve();
        _container.setMaximumSize( 1 );
    }
    const LkLock& getLock() const { return _container._lock; }
    bool push( const Job& job, double seconds ) { return _container.push( job, seconds, _client ); }
    bool push( int key, double seconds ) {
        return push( Job( MtRequestTag(), nullptr, key ), seconds );
    }
    /// As a worker of a pool that stops.
    bool popLeft() { return _container.pop( _isStopped ).has_value(); }
    bool leave() { return _container.leave(); }
    void serve() { _container.serve( 1 ); }
    int pop() { return _container.pop( _isRunning )->key; }
    void awaitListed( std::uint32_t nbPushes ) {
        const auto isListed = [&] {
            const LkGuard<const LkLock> guard( getLock() );
            return getNbListed() == nbPushes;
        };
        waitUntil( isListed, "pushes wait for room" );
    }
    std::uint32_t getNbListed() const QV_NO_THREAD_SAFETY_ANALYSIS { return _container._nbListed; }

    const std::atomic<bool> _isRunning = true;
    const std::atomic<bool> _isStopped = false;
    Client _client;
    Container _container;
};

namespace {

TEST_F( MtContainerTest, PushThatWasOvertakenOnceIsKeptThePlace ) {
    EXPECT_TRUE( push( 0, 0.0 ) );
    TestThread overtaken( [&] { EXPECT_TRUE( push( 1, Container::NO_LIMIT ) ); } );
    awaitListed( 1 );
    TestThread later( [&] { EXPECT_TRUE( push( 2, Container::NO_LIMIT ) ); } );
    awaitListed( 2 );
    {
        // The first one is woken, and can't come before the place is taken.
        const LkGuard<const LkLock> guard( getLock() );
        EXPECT_EQ( pop(), 0 );
        EXPECT_TRUE( push( 100, 0.0 ) );
    }
    awaitListed( 2 );
    {
        const LkGuard<const LkLock> guard( getLock() );
        EXPECT_EQ( pop(), 100 );
        EXPECT_FALSE( push( 101, 0.0 ) );
    }
    overtaken.join();
    EXPECT_EQ( pop(), 1 );
    later.join();
    EXPECT_EQ( pop(), 2 );
}

TEST_F( MtContainerTest, PushWhoseWaitRaisesLeavesItsPlaceToTheNext ) {
    EXPECT_TRUE( push( 0, 0.0 ) );
    HoldPoint sleep( "the push goes to sleep" );
    TestThread failing( [&] {
        const FutexWaitHook hook( sleep, EPERM );
        EXPECT_THROW( push( 1, Container::NO_LIMIT ), ExAssertionFailed );
    } );
    sleep.waitUntilReached();
    TestThread next( [&] { EXPECT_TRUE( push( 2, Container::NO_LIMIT ) ); } );
    awaitListed( 2 );
    // Wakes the one that fails; nothing is left that a pop could take out.
    EXPECT_EQ( pop(), 0 );
    sleep.release();
    failing.join();
    next.join();
    EXPECT_EQ( pop(), 2 );
}

TEST_F( MtContainerTest, WorkerOfAStoppingPoolWaitsForPushesThatAreOnTheirWay ) {
    const std::string large( 100, 'x' );
    const Job job(
        MtRequestTag(), [large] {}, 1 );
    for( const bool isFailing : { false, true } ) {
        EXPECT_TRUE( push( 0, 0.0 ) );
        Gate hasWaited( "a wait whose time ran out" );
        TestThread pusher( [&] {
            // The thread's place in a queue is made before.
            EXPECT_FALSE( push( 7, 0.001 ) );
            hasWaited.open();
            if( isFailing ) {
                const FailingNew none( 0 );
                EXPECT_THROW( push( job, Container::NO_LIMIT ), std::bad_alloc );
            } else {
                EXPECT_TRUE( push( job, Container::NO_LIMIT ) );
            }
        } );
        hasWaited.wait();
        awaitListed( 1 );
        {
            const LkGuard<const LkLock> guard( getLock() );
            EXPECT_EQ( pop(), 0 );
            EXPECT_FALSE( leave() );
            // Gives the lock up, with nothing queued.
            EXPECT_EQ( popLeft(), !isFailing );
        }
        pusher.join();
        EXPECT_TRUE( leave() );
        serve();
    }
}

} // namespace
} // namespace Qv
