#include <resmgt/threadExtensions/mtThreadPool.h>

#include <base/failure/assertions.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/threadExtensions/test/job.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <resmgt/threads/priorityRelation.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <pthread.h>
#include <sched.h>

#include <map>
#include <optional>
#include <set>

namespace Qv {
namespace {

using ::testing::HasSubstr;

/// Workers that count their calls, and wait in each round until the pool stops.
class CountingPool : public MtThreadPool {
public:
    explicit CountingPool( unsigned int nbThreads, bool isPlaced = false,
                           unsigned int stackSize = 0 )
        : MtThreadPool( "counting", nbThreads, isPlaced, stackSize ) {}
    ~CountingPool() noexcept( false ) override { stop(); }

    void beginWorker( unsigned int index ) override { note( "begin", index ); }
    void obtainTask( unsigned int index ) override { note( "obtain", index ); }
    void performTask( unsigned int index ) override {
        note( "perform", index );
        if( body ) {
            body();
        }
        std::unique_lock lock( _mutex );
        _stopped.wait( lock, [this] { return _isStopped; } );
    }
    void doneTask( unsigned int index ) override { note( "done", index ); }
    void endWorker( unsigned int index ) override { note( "end", index ); }
    void stopThreads() override {
        const std::lock_guard lock( _mutex );
        _isStopped = true;
        _stopped.notify_all();
    }
    void rearm() {
        const std::lock_guard lock( _mutex );
        _isStopped = false;
        _notes.clear();
    }
    std::string getNotes( unsigned int index ) {
        const std::lock_guard lock( _mutex );
        return _notes[index];
    }

    std::function<void()> body;

private:
    void note( const char* text, unsigned int index ) {
        const std::lock_guard lock( _mutex );
        _notes[index] += std::string( text ) + ' ';
        _threads[index] = ThreadNumber::get();
    }

    std::mutex _mutex;
    std::condition_variable _stopped;
    bool _isStopped = false;
    std::map<unsigned int, std::string> _notes;
    std::map<unsigned int, std::uint32_t> _threads;
};

TEST( MtThreadPoolTest, WorkersRunTheirRoundsBetweenTheHooksAndMayBeStartedAgain ) {
    const unsigned int nbBefore = countThreads();
    CountingPool pool( 2 );
    EXPECT_FALSE( pool.isRunning() );
    EXPECT_EQ( pool.getThreadId( 0 ), LkThreadId() );
    for( const unsigned int nbThreads : { 2u, 3u, 0u, 1u } ) {
        pool.start( nbThreads );
        EXPECT_TRUE( pool.isRunning() );
        pool.start( 7 );
        pool.start();
        EXPECT_EQ( pool.getNbThreads(), nbThreads ) << "changed while it was running";
        EXPECT_EQ( countThreads(), nbBefore + nbThreads );
        std::set<LkThreadId> ids;
        for( unsigned int i = 0; i < nbThreads; ++i ) {
            ids.insert( pool.getThreadId( i ) );
            EXPECT_NE( MtThreadMgr::getInstance().findThread( pool.getThreadId( i ) ), nullptr );
            EXPECT_NE( MtThreadMgr::getInstance().findThread( "counting " + std::to_string( i ) ),
                       nullptr );
        }
        EXPECT_EQ( ids.size(), nbThreads );
        EXPECT_EQ( ids.count( LkThreadId() ), 0u );
        EXPECT_EQ( pool.getThreadId( nbThreads ), LkThreadId() );
        pool.stop();
        pool.stop();
        EXPECT_FALSE( pool.isRunning() );
        EXPECT_EQ( pool.getThreadId( 0 ), LkThreadId() );
        EXPECT_EQ( countThreads(), nbBefore );
        for( unsigned int i = 0; i < nbThreads; ++i ) {
            EXPECT_EQ( pool.getNotes( i ), "begin obtain perform done end " );
        }
        pool.rearm();
    }
}

TEST( MtThreadPoolTest, OneRelationMovesAllWorkers ) {
    CountingPool pool( 3 );
    Priority anchor( "anchor", MtPriorityMgr::getInstance(), 2 );
    pool.start();
    const auto countAt = [&]( int priority ) {
        int count = 0;
        for( unsigned int i = 0; i < 3; ++i ) {
            MtThread* const thread =
                MtThreadMgr::getInstance().findThread( "counting " + std::to_string( i ) );
            count += thread != nullptr && thread->getPriority().getPriority() == priority ? 1 : 0;
        }
        return count;
    };
    EXPECT_EQ( countAt( 0 ), 3 );
    {
        const PriorityRelation above( "above", anchor, PriorityRelation::LESS, pool );
        EXPECT_EQ( countAt( 3 ), 3 );
        EXPECT_EQ( dumpOf( pool ), "counting threads 3 running prio 3" );
    }
    EXPECT_EQ( countAt( 0 ), 3 );
    pool.stop();
    EXPECT_EQ( pool.getPriority(), 0 );
}

TEST( MtThreadPoolTest, WorkersKnowTheirPoolAndMustNotStopIt ) {
    CountingPool pool( 1 );
    CountingPool other( 1 );
    std::string raised;
    bool isOwn = false;
    bool isOthers = true;
    pool.body = [&] {
        isOwn = pool.isOwnWorker();
        isOthers = other.isOwnWorker();
        raised = raisedBy<ExAssertionFailed>( [&] { pool.stop(); } );
    };
    pool.start();
    waitUntil( [&] { return pool.getNotes( 0 ) == "begin obtain perform "; }, "the round" );
    pool.stop();
    EXPECT_TRUE( isOwn );
    EXPECT_FALSE( isOthers );
    EXPECT_FALSE( pool.isOwnWorker() );
    EXPECT_THAT( raised, HasSubstr( "!isOwnWorker()" ) );
}

TEST( MtThreadPoolTest, StartThatFailsAnywhereLeavesNothingAndTheNextOneWorks ) {
    const unsigned int nbThreads = countThreads();
    CountingPool pool( 3 );
    const std::string before = dumpOf( MtPriorityMgr::getInstance() );
    const auto check = [&]( bool hasFailed ) {
        ASSERT_EQ( pool.isRunning(), !hasFailed );
        ASSERT_EQ( countThreads(), hasFailed ? nbThreads : nbThreads + 3 );
        ASSERT_EQ( dumpOf( MtPriorityMgr::getInstance() ) == before, hasFailed );
        pool.stop();
        pool.rearm();
    };
    forEachFailingNew<std::exception>( [&] { pool.start(); }, check );
}

TEST( MtThreadPoolTest, StartWithoutThreadsEnoughStopsThoseThatRun ) {
    const unsigned int nbThreads = countThreads();
    for( int nbStarted = 0; nbStarted < 3; ++nbStarted ) {
        CountingPool pool( 3 );
        std::optional<FailingCall> failing( std::in_place, "pthread_create", EAGAIN,
                                            FailingCall::FOR_GOOD, nbStarted + 1 );
        EXPECT_THROW( pool.start(), ExAssertionFailed );
        EXPECT_FALSE( pool.isRunning() );
        EXPECT_EQ( countThreads(), nbThreads );
        for( unsigned int i = 0; i < 3; ++i ) {
            EXPECT_EQ( pool.getNotes( i ), i < static_cast<unsigned int>( nbStarted )
                                               ? "begin obtain perform done end "
                                               : "" );
        }
        EXPECT_THROW( JobGroup( "group", 4, { .maximumSize = 1 } ), ExAssertionFailed );
        EXPECT_EQ( countThreads(), nbThreads );
        failing.reset();
        pool.rearm();
        pool.start();
        EXPECT_EQ( countThreads(), nbThreads + 3 );
    }
    JobGroup group( "group", 2 );
    const Producer producer( group );
    group.stop();
    {
        const FailingCall failing( "pthread_create", EAGAIN, FailingCall::FOR_GOOD, 2 );
        EXPECT_THROW( group.start( 3 ), ExAssertionFailed );
    }
    EXPECT_EQ( group.getNbThreads(), 2u );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { producer.push( nullptr ); } ),
                 HasSubstr( "_nbServing != 0" ) );
    group.start();
    producer.push( nullptr );
}

TEST( MtThreadPoolTest, WorkersGoRoundTheProcessorsOfTheProcess ) {
    cpu_set_t set;
    CPU_ZERO( &set );
    ASSERT_EQ( ::sched_getaffinity( ::getpid(), sizeof( set ), &set ), 0 );
    const int nbProcessors = CPU_COUNT( &set );
    const auto nbThreads = static_cast<unsigned int>( nbProcessors + 1 );
    CountingPool pool( nbThreads, true );
    pool.start();
    std::vector<int> processors;
    for( unsigned int i = 0; i < nbThreads; ++i ) {
        waitUntil( [&] { return pool.getNotes( i ) == "begin obtain perform "; }, "the round" );
        cpu_set_t own;
        CPU_ZERO( &own );
        const auto id = static_cast<pid_t>( pool.getThreadId( i ).getNum() );
        ASSERT_EQ( ::sched_getaffinity( id, sizeof( own ), &own ), 0 );
        ASSERT_EQ( CPU_COUNT( &own ), 1 );
        for( std::size_t nb = 0; nb < CPU_SETSIZE; ++nb ) {
            if( CPU_ISSET( nb, &own ) ) {
                processors.push_back( static_cast<int>( nb ) );
            }
        }
    }
    pool.stop();
    EXPECT_TRUE( std::is_sorted( processors.begin(), processors.end() - 1 ) );
    EXPECT_EQ( std::set<int>( processors.begin(), processors.end() ).size(),
               static_cast<std::size_t>( nbProcessors ) );
    EXPECT_EQ( processors.back(), processors.front() );
}

TEST( MtThreadPoolTest, StackSizeThatNoIntHoldsIsAnAssertion ) {
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [] { CountingPool( 1, false, 1u << 31 ); } ),
                 HasSubstr( "stackSize <=" ) );
    CountingPool small( 1, false, 1 );
    small.start();
    small.stop();
}

} // namespace
} // namespace Qv
