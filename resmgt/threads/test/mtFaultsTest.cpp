#include <resmgt/threads/mtExternalThread.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadGroup.h>
#include <resmgt/threads/mtThreadTimes.h>
#include <resmgt/threads/test/testProtocol.h>
#include <resmgt/threads/test/threadCalls.h>
#include <tests/support/dumpOf.h>
#include <tests/support/holdPoint.h>
#include <tests/support/processCounts.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>

namespace Qv {
namespace {

using ::testing::HasSubstr;

/// What a failure must leave as it was.
struct Known {
    int nbThreads = mgr().getNbThreads();
    std::string graph = dumpOf( MtPriorityMgr::getInstance() );

    bool operator==( const Known& ) const = default;
};

class MtFaultsTest : public testing::Test {
protected:
    void expectAsBefore() {
        EXPECT_EQ( Known(), _before );
        waitUntil( [&] { return countThreads() == _nbTasks; }, "the end of all threads" );
    }

    bool _hasRun = false;
    const int _nbTasks = countThreads();
    const Known _before{};
};

TEST_F( MtFaultsTest, ARefusedStartLeavesTheThreadAsItWas ) {
    OPtr<MtThread> thread = makeThread( [this]( MtThread& ) { _hasRun = true; } );
    for( const char* const call :
         { "pthread_attr_init", "pthread_attr_setstacksize", "pthread_create", "setpriority" } ) {
        for( const auto times : { FailingCall::ONCE, FailingCall::FOR_GOOD } ) {
            SCOPED_TRACE( call );
            {
                const ProcessFailingCall failing( call, EINVAL, times );
                EXPECT_THAT( assertedBy( [&] { thread->start(); } ), HasSubstr( call ) );
            }
            EXPECT_FALSE( thread->isRunning() );
            EXPECT_EQ( thread->getId(), LkThreadId() );
            EXPECT_FALSE( std::exchange( _hasRun, false ) );
            thread->join();
            thread->start();
            thread->join();
            EXPECT_TRUE( std::exchange( _hasRun, false ) );
        }
    }
    thread.reset();
    expectAsBefore();
}

TEST_F( MtFaultsTest, WhoComesLateToAJoinWaitsForNoOtherRun ) {
    HoldPoint body( "body" );
    HoldPoint late( "between the look at the run and the wait for its end" );
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) { body.pass(); } );
    thread->start();
    bool hasJoined = false;
    TestThread joiner( [&] {
        holdAtClock( late );
        hasJoined = thread->timedJoin( 5.0 );
    } );
    late.waitUntilReached();
    body.release();
    thread->join();
    {
        const ProcessFailingCall failing( "pthread_create", EAGAIN );
        EXPECT_THAT( assertedBy( [&] { thread->start(); } ), HasSubstr( "pthread_create" ) );
    }
    late.release();
    joiner.join();
    EXPECT_TRUE( hasJoined );
}

TEST_F( MtFaultsTest, WhatANewThreadRaisesBeforeItsBodyComesOutOfJoin ) {
    for( const char* const call : { "pthread_setname_np", "sched_setaffinity" } ) {
        SCOPED_TRACE( call );
        const OPtr<MtThread> thread = makeThread( [this]( MtThread& ) { _hasRun = true; } );
        {
            const ProcessFailingCall failing( call, EINVAL );
            thread->start();
            EXPECT_THAT( raisedBy( [&] { thread->join(); } ), HasSubstr( call ) );
        }
        EXPECT_FALSE( _hasRun );
        thread->start();
        thread->join();
        EXPECT_TRUE( std::exchange( _hasRun, false ) );
    }
    expectAsBefore();
}

TEST_F( MtFaultsTest, ARefusalIsNoFailure ) {
    for( const char* const call : { "setpriority", "sched_setaffinity" } ) {
        for( const int error : { EPERM, EACCES } ) {
            const ProcessFailingCall failing( call, error );
            runThread( [this]( MtThread& ) { _hasRun = true; } );
            EXPECT_TRUE( failing.hasFailed() );
            EXPECT_TRUE( std::exchange( _hasRun, false ) ) << call;
        }
    }
    const ProcessFailingCall noTimes( "getrusage", EINVAL );
    runThread( nullptr );
    EXPECT_TRUE( noTimes.hasFailed() );
}

TEST_F( MtFaultsTest, WithoutMemoryNothingIsLeftAndTheNextAttemptWorks ) {
    TestProtocol* const made = new TestProtocol( [this]( MtThread& ) { _hasRun = true; } );
    OPtr<MtThreadProtocol> protocol( made );
    const LiString name( std::string( 100, 'n' ) );
    OPtr<MtThread> thread;
    forEachFailingNew(
        [&] { thread = MtThreadFactory::getInstance().createThread( name, protocol, false, 0 ); },
        [&]( bool hasFailed ) {
            if( hasFailed ) {
                EXPECT_EQ( protocol.get(), made );
                EXPECT_EQ( Known(), _before );
            }
        } );
    forEachFailingNew( [&] { thread->start(); },
                       [&]( bool ) {
                           const bool isRunning = thread->isRunning();
                           thread->join();
                           EXPECT_EQ( std::exchange( _hasRun, false ), isRunning );
                       } );
    struct Group : MtThreadGroup {
        void nbProcessorsChanged( int ) override {}
    } group;
    forEachFailingNew( [&] { mgr().addGroup( &group ); } );
    mgr().removeGroup( &group );
    thread.reset();
    expectAsBefore();
}

TEST_F( MtFaultsTest, AForeignThreadWithoutMemoryStaysUnknown ) {
    TestThread( [] {
        const std::string name( 100, 'n' );
        forEachFailingNew( [&] { const MtExternalThreadGuard guard( name ); },
                           []( bool ) { EXPECT_EQ( MtThreadMgr::findCurrentThread(), nullptr ); } );
    } ).join();
    expectAsBefore();
}

TEST_F( MtFaultsTest, StackSizesAreCheckedAndTheLeastIsEnoughForABody ) {
    OPtr<MtThreadProtocol> protocol( new TestProtocol );
    for( const int size : { -1, INT_MIN } ) {
        EXPECT_EQ( assertedBy( [&] { makeThread( protocol, "x", false, size ); } ),
                   "stackSize >= 0" );
    }
    for( const int size : { 1, 4095, 16384, 1 << 20 } ) {
        const OPtr<MtThread> thread =
            makeThread( OPtr<MtThreadProtocol>( new TestProtocol(
                            []( MtThread& ) { throw ExInternalError( QV_HERE, "deep" ); } ) ),
                        "small", false, size );
        thread->start();
        EXPECT_EQ( raisedBy( [&] { thread->join(); } ), "deep" ) << size;
    }
    const OPtr<MtThread> huge = makeThread( protocol, "huge", false, INT_MAX );
    // Either the system has room for it, or it says so.
    const std::string refusal = assertedBy( [&] { huge->start(); } );
    EXPECT_TRUE( refusal.empty() || refusal.find( "pthread_create" ) != std::string::npos );
    huge->join();
}

TEST_F( MtFaultsTest, TimesThatCanNotBeReadAreAnAssertion ) {
    {
        const ProcessFailingCall failing( "getrusage", EINVAL );
        EXPECT_THAT( assertedBy( [] { MtThreadTimes::timeSplit(); } ), HasSubstr( "getrusage" ) );
    }
    const ProcessFailingCall failing( "pthread_getcpuclockid", ESRCH );
    EXPECT_THAT( assertedBy( [] { MtThreadTimes::timeSplit( *mgr().getMainThread() ); } ),
                 HasSubstr( "pthread_getcpuclockid" ) );
}

} // namespace
} // namespace Qv
