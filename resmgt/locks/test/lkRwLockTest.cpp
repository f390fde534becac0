#include <base/failure/assertions.h>
#include <resmgt/locks/lkRwLock.h>
#include <resmgt/locks/test/futexWaitHook.h>
#include <tests/support/deadline.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace Qv {

class LkRwLockTest : public ::testing::Test {
protected:
    using ReadGuard = LkGuard<const LkRwLock>;
    using WriteGuard = LkGuard<LkRwLock>;

    static constexpr int NOT_RECORDED = -1;

    /// A thread that holds the lock until it is told to end.
    class Holder {
    public:
        template <class Lock>
        Holder( LkRwLockTest& test, Lock& lock, int number )
            : _thread( [this, &test, &lock, number] {
                const LkGuard<Lock> guard( lock );
                if( number != NOT_RECORDED ) {
                    test._entered.push_back( number );
                }
                _isIn.open();
                _end.wait();
            } ) {}
        void waitUntilIn() { _isIn.wait(); }
        void end() {
            _end.open();
            _thread.join();
        }

    private:
        Gate _isIn{ "the lock is held" };
        Gate _end{ "the hold ends" };
        TestThread _thread;
    };
    using HolderPtr = std::unique_ptr<Holder>;

    // Both return at once; the lock's dump shows when the thread is in or waits.
    HolderPtr read( int number = NOT_RECORDED ) {
        return std::make_unique<Holder>( *this, std::as_const( _lock ), number );
    }
    HolderPtr write( int number = NOT_RECORDED ) {
        return std::make_unique<Holder>( *this, _lock, number );
    }
    std::string dump() const { return dumpOf( _lock ); }
    void waitForDump( const char* held, const char* nbWriters, const char* nbReaders ) const {
        const std::string text = std::string( "name name rwLock " ) + held + " wr wait " +
                                 nbWriters + " rd wait " + nbReaders;
        waitUntil( [&] { return dump() == text; }, text.c_str() );
        // Who is counted as waiting may be about to give the internal lock up.
        const LkGuard<const LkLock> guard( _lock._lock );
    }
    const LkLock& getInternalLock() const { return _lock._lock; }
    bool tryRead() const QV_NO_THREAD_SAFETY_ANALYSIS { return _lock.tryReadLock(); }
    bool tryWrite() QV_NO_THREAD_SAFETY_ANALYSIS { return _lock.tryWriteLock(); }
    void unlock() const QV_NO_THREAD_SAFETY_ANALYSIS { _lock.unlock(); }
    template <class Lock>
    static bool tryLock( Lock& lock ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return lock.tryLock() && ( lock.unlock(), true );
    }

    LkRwLock _lock{ "name" };
    // Readers that come in together aren't recorded.
    std::vector<int> _entered;
};

namespace {

using ::testing::ElementsAre;

TEST_F( LkRwLockTest, ConstnessSelectsTheModeAndTheQuestion ) {
    const LkRwLock& constLock = _lock;
    EXPECT_EQ( dump(), "name name rwLock 0 wr wait 0 rd wait 0" );
    {
        const ReadGuard first( _lock );
        EXPECT_TRUE( tryLock( constLock ) );
        EXPECT_FALSE( tryLock( _lock ) );
        EXPECT_TRUE( tryRead() );
        EXPECT_EQ( dump(), "name name rwLock 2 wr wait 0 rd wait 0" );
        EXPECT_TRUE( constLock.isLocked() && constLock.isLockedByThread() );
        EXPECT_FALSE( _lock.isLocked() || _lock.isLockedByThread() );
        // Any thread may end a hold, and is answered for the whole lock.
        TestThread( [&] {
            EXPECT_TRUE( constLock.isLockedByThread() );
            unlock();
        } ).join();
    }
    {
        const WriteGuard guard( _lock );
        EXPECT_FALSE( tryLock( constLock ) );
        EXPECT_FALSE( tryLock( _lock ) );
        EXPECT_EQ( dump(), "name name rwLock -1 wr wait 0 rd wait 0" );
        EXPECT_FALSE( constLock.isLocked() || constLock.isLockedByThread() );
        EXPECT_TRUE( _lock.isLocked() && _lock.isLockedByThread() );
    }
    EXPECT_TRUE( tryLock( constLock ) && tryLock( _lock ) );
    EXPECT_EQ( dump(), "name name rwLock 0 wr wait 0 rd wait 0" );
}

TEST_F( LkRwLockTest, QueriesAreNotAnsweredWhileTheCountsChange ) {
    const ReadGuard reader( _lock );
    std::unique_ptr<TestThread> asker;
    {
        // As who arrives when somebody must wait, and moves the count of readers.
        const LkGuard<const LkLock> guard( getInternalLock() );
        asker = std::make_unique<TestThread>(
            [&] { EXPECT_TRUE( std::as_const( _lock ).isLockedByThread() ); } );
        asker->waitUntilBlocked();
    }
    asker->join();
}

TEST_F( LkRwLockTest, WaitingWriterKeepsNewReadersOutAndGoesBeforeThem ) {
    const HolderPtr first = read( 1 );
    first->waitUntilIn();
    const HolderPtr second = read( 2 );
    second->waitUntilIn();
    const HolderPtr writer = write( 10 );
    waitForDump( "2", "1", "0" );
    const HolderPtr third = read( 3 );
    waitForDump( "2", "1", "1" );
    EXPECT_FALSE( tryRead() );
    first->end();
    waitForDump( "1", "1", "1" );
    EXPECT_FALSE( tryRead() );
    second->end();
    writer->waitUntilIn();
    waitForDump( "-1", "0", "1" );
    writer->end();
    third->waitUntilIn();
    waitForDump( "1", "0", "0" );
    third->end();
    EXPECT_THAT( _entered, ElementsAre( 1, 2, 10, 3 ) );
}

TEST_F( LkRwLockTest, NewestWriterGoesFirstAndReadersAllAtOnceAfterTheLast ) {
    const HolderPtr holder = write( 0 );
    holder->waitUntilIn();
    const HolderPtr older = write( 1 );
    waitForDump( "-1", "1", "0" );
    const HolderPtr newer = write( 2 );
    waitForDump( "-1", "2", "0" );
    std::list<HolderPtr> readers;
    for( const char* const nbWaiting : { "1", "2", "3" } ) {
        readers.push_back( read( NOT_RECORDED ) );
        waitForDump( "-1", "2", nbWaiting );
    }
    holder->end();
    newer->waitUntilIn();
    newer->end();
    older->waitUntilIn();
    EXPECT_THAT( _entered, ElementsAre( 0, 2, 1 ) );
    older->end();
    waitForDump( "3", "0", "0" );
    for( const HolderPtr& reader : readers ) {
        reader->end();
    }
}

TEST_F( LkRwLockTest, WaitThatFindsNoMemoryLeavesTheLockAsItWas ) {
    const HolderPtr holder = write();
    holder->waitUntilIn();
    for( const bool reads : { true, false } ) {
        // A thread's first wait builds its entry.
        TestThread( [&] {
            const FailingNew failing( 0 );
            if( reads ) {
                EXPECT_THROW( const ReadGuard guard( _lock ), std::bad_alloc );
            } else {
                EXPECT_THROW( const WriteGuard guard( _lock ), std::bad_alloc );
            }
        } ).join();
        EXPECT_EQ( dump(), "name name rwLock -1 wr wait 0 rd wait 0" );
    }
    holder->end();
    EXPECT_TRUE( tryLock( _lock ) );
}

TEST_F( LkRwLockTest, WriterWhoseWaitRaisesLetsThoseGoWhomItHeldUp ) {
    const HolderPtr holder = read();
    holder->waitUntilIn();
    HoldPoint sleep( "the writer goes to sleep" );
    TestThread writer( [&] {
        const FutexWaitHook hook( sleep, EPERM );
        EXPECT_THROW( const WriteGuard guard( _lock ), ExAssertionFailed );
    } );
    sleep.waitUntilReached();
    const HolderPtr reader = read();
    waitForDump( "1", "1", "1" );
    sleep.release();
    writer.join();
    reader->waitUntilIn();
    EXPECT_EQ( dump(), "name name rwLock 2 wr wait 0 rd wait 0" );
    reader->end();
    holder->end();
    EXPECT_TRUE( tryLock( _lock ) );
}

} // namespace
} // namespace Qv
