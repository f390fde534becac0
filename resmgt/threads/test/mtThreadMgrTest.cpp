#include <base/init/inSingletonEx.h>
#include <base/init/src/inPackageFrame.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/threads/mtEx.h>
#include <resmgt/threads/mtExternalThread.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadGroup.h>
#include <resmgt/threads/mtThreadTimes.h>
#include <resmgt/threads/mtUtil.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/rtPriorities.h>
#include <resmgt/threads/test/testProtocol.h>
#include <tests/support/holdPoint.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <utility>

#include <unistd.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;

TEST( MtThreadMgrTest, KnowsTheMainThread ) {
    MtThread* const main = mgr().getMainThread();
    EXPECT_EQ( MtThreadMgr::findCurrentThread(), main );
    EXPECT_EQ( mgr().findThread( "main" ), main );
    LkThreadId self;
    self.setCurrentThread();
    EXPECT_EQ( mgr().findThread( self ), main );
    EXPECT_TRUE( main->isRunning() );
    EXPECT_EQ( assertedBy( [&] { main->start(); } ), "!isRunningNoLock()" );
    main->stop();
    EXPECT_EQ( assertedBy( [] {
                   OPtr<MtThread>(
                       MtThreadFactory::getInstance().createMainThread( "second", mgr() ) );
               } ),
               "first" );
    EXPECT_EQ( mgr().getNbThreads(), 2 ) << "this one and the logger's reader";
    EXPECT_EQ( mgr().getNbProcessors(), MtUtil::getNbProcessors() );
}

TEST( MtThreadMgrTest, FindsTheFirstOfThoseWithAName ) {
    OPtr<MtThread> first = makeThread( nullptr, "twin" );
    const OPtr<MtThread> second = makeThread( nullptr, "twin" );
    EXPECT_EQ( mgr().findThread( "twin" ), first.get() );
    first.reset();
    EXPECT_EQ( mgr().findThread( "twin" ), second.get() );
    EXPECT_EQ( mgr().findThread( "nobody" ), nullptr );
    EXPECT_EQ( mgr().findThread( LkThreadId() ), nullptr );
}

TEST( MtThreadMgrTest, ThreadsAndGroupsAreThereOnce ) {
    struct Group : MtThreadGroup {
        void nbProcessorsChanged( int ) override { ++nbCalls; }
        int nbCalls = 0;
    } group;
    const OPtr<MtThread> thread = makeThread( nullptr );
    EXPECT_EQ( assertedBy( [&] { mgr().addThread( thread.get() ); } ),
               "findNoLock( thread ) == 0" );
    mgr().addGroup( &group );
    EXPECT_EQ( assertedBy( [&] { mgr().addGroup( &group ); } ), "findNoLock( group ) == 0" );
    const int nbProcessors = mgr().getNbProcessors();
    mgr().setNbProcessors( nbProcessors + 1 );
    mgr().setNbProcessors( nbProcessors );
    EXPECT_EQ( group.nbCalls, 0 );
    mgr().removeGroup( &group );
    EXPECT_EQ( assertedBy( [&] { mgr().removeGroup( &group ); } ), "findNoLock( group ) == group" );
    mgr().removeThread( thread.get() );
    EXPECT_EQ( assertedBy( [&] { mgr().removeThread( thread.get() ); } ),
               "findNoLock( thread ) == thread" );
    mgr().addThread( thread.get() );
}

TEST( MtThreadMgrTest, DumpsThreadsAndThenTheGraph ) {
    const OPtr<MtThread> thread = makeThread( nullptr, "somebody" );
    std::ostringstream stream;
    stream << mgr();
    EXPECT_THAT( stream.str(), testing::ContainsRegex( "main prio 0 .*RUNNING\nsomebody prio 0 "
                                                       ".*STOPPED\n.*Priorities:" ) );
}

RCShdPtr<LkThreadOpaqueData> slot;
int nbFreed = 0;

TEST( MtThreadMgrTest, AForeignThreadIsKnownWhileAGuardStands ) {
    slot = LkThreadOpaqueDataFactory::create(
        "external", []() -> void* { return new int; },
        []( void* value ) {
            delete static_cast<int*>( value );
            ++nbFreed;
        } );
    TestThread( [] {
        EXPECT_EQ( MtThreadMgr::findCurrentThread(), nullptr );
        for( int time = 1; time <= 2; ++time ) {
            const MtExternalThreadGuard guard( "host" );
            MtThread* const thread = MtThreadMgr::findCurrentThread();
            ASSERT_NE( thread, nullptr );
            LkThreadId self;
            self.setCurrentThread();
            EXPECT_EQ( mgr().findThread( self ), thread );
            EXPECT_EQ( mgr().findThread( "host" ), thread );
            {
                const MtExternalThreadGuard nested( "nested" );
                EXPECT_EQ( MtThreadMgr::findCurrentThread(), thread );
            }
            EXPECT_EQ( MtThreadMgr::findCurrentThread(), thread );
            EXPECT_EQ( thread->getPriority().getPriority(), 0 );
            slot->getPointee();
            EXPECT_EQ( nbFreed, time - 1 );
        }
        EXPECT_EQ( nbFreed, 2 );
        EXPECT_EQ( MtThreadMgr::findCurrentThread(), nullptr );
    } ).join();
    EXPECT_EQ( mgr().findThread( "host" ), nullptr );
    slot = RCShdPtr<LkThreadOpaqueData>();
    {
        const MtExternalThreadGuard onMain( "not needed" );
        EXPECT_EQ( MtThreadMgr::findCurrentThread(), mgr().getMainThread() );
    }
    EXPECT_EQ( MtThreadMgr::findCurrentThread(), mgr().getMainThread() );
}

TEST( MtThreadMgrTest, AForeignThreadRefusesWhatItsOwnerDoes ) {
    const MtExternalThreadGuard known( "main has one" );
    MtExternalThread thread( "outside" );
    const std::pair<const char*, std::function<void()>> cases[] = {
        { "start", [&] { thread.start(); } },
        { "stop", [&] { thread.stop(); } },
        { "join", [&] { thread.join(); } },
        { "timedJoin", [&] { thread.timedJoin( 1.0 ); } },
        { "setProcessorNb", [&] { thread.setProcessorNb( 0 ); } },
        { "getProcessorAffinity", [&] { thread.getProcessorAffinity(); } },
        { "getAllProcessorAffinityMask", [&] { thread.getAllProcessorAffinityMask(); } },
        { "setProcessorAffinity", [&] { thread.setProcessorAffinity( 1 ); } } };
    for( const auto& [name, operation] : cases ) {
        EXPECT_EQ( raisedBy<MtEx::ExNotImplemented>( operation ),
                   std::string( "Feature not implemented: MtExternalThread::" ) + name );
    }
    EXPECT_FALSE( thread.isProcessorPlaceable() );
    EXPECT_FALSE( thread.isProcessorAffinityPlaceable() );
    EXPECT_TRUE( thread.isRunning() );
    EXPECT_EQ( thread.getProtocol(), nullptr );
    EXPECT_EQ( MtEx::ExRealTimeNotEnabled( QV_HERE, "because" ).getReason(),
               std::string( "Failure to enable real-time: because." ) );
}

TEST( RtPrioritiesTest, TheAnchorsStandInTheirOrder ) {
    RtPriorities& anchors = RtPriorities::getInstance();
    const std::tuple<Priority&, const char*, int, bool> expected[] = {
        { anchors.getBaseLinePriority(), "BaseLine", 0, true },
        { anchors.getRealTimePriority(), "RealTime", 1, true },
        { anchors.getInterruptPriority(), "Interrupt", 6, true },
        { anchors.getProcessScopePriority(), "rt-process-scope", 0, false } };
    for( const auto& [node, name, value, isFixed] : expected ) {
        EXPECT_EQ( node.getName(), name );
        EXPECT_EQ( node.getPriority(), value );
        EXPECT_EQ( node.isPriorityFixed(), isFixed );
    }
    EXPECT_NE( dynamic_cast<ProcessScopePriority*>( &anchors.getProcessScopePriority() ), nullptr );
}

TEST( MtThreadsPackageTest, EndsCleanlyWithTheMainThreadAloneAndStartsAgain ) {
    InPackageFrame& frame = InPackageFrame::getInstance();
    const OPtr<MtThread> none;
    testing::internal::CaptureStderr();
    for( int time = 0; time < 2; ++time ) {
        frame.stop();
        EXPECT_THROW( MtThreadMgr::getInstance(), InSingletonEx::ExAlreadyDestroyed );
        EXPECT_EQ( MtThreadMgr::findCurrentThread(), nullptr );
        EXPECT_THROW( makeThread( nullptr ), InSingletonEx );
        EXPECT_THROW( MtExternalThreadGuard( "host" ), InSingletonEx );
        frame.start();
        EXPECT_EQ( MtThreadMgr::findCurrentThread(), mgr().getMainThread() );
    }
    EXPECT_EQ( testing::internal::GetCapturedStderr(), "" );
    EXPECT_GT( MtThreadTimes::resolution(), 0.0 );
}

TEST( MtThreadsPackageDeathTest, ThreadsThatRemainAtTheEndAreReportedAndEndByThemselves ) {
    const ScopedEnvironment echoed( "QV_LOG_WARNING", "%" );
    EXPECT_EXIT(
        {
            ::dup2( STDERR_FILENO, STDOUT_FILENO );
            HoldPoint body( "body" );
            OPtr<MtThread> left = makeThread( [&]( MtThread& ) { body.pass(); }, "straggler" );
            const OPtr<MtThread> idle = makeThread( nullptr, "third" );
            left->start();
            body.waitUntilReached();
            InPackageFrame::getInstance().stop();
            const bool isGone = raisedBy<InSingletonEx::ExAlreadyDestroyed>(
                                    [] { MtThreadMgr::getInstance(); } ) != "";
            const bool isRefused = assertedBy( [&] { idle->start(); } ) == "canStart()";
            body.release();
            left.reset();
            std::_Exit( isGone && isRefused ? 7 : 1 );
        },
        testing::ExitedWithCode( 7 ),
        "mgr = main prio.*straggler prio.*ERROR: \nERROR: The thread package was not cleaned up "
        "properly, because \n     : some threads are still running. Since they might \n     : "
        "still "
        "do some logging, the logger is being flushed, \n     : but it is not being finalized.\n" );
}

TEST( MtThreadTest, TheConfiguredStackSizeIsWhatThreadsGet ) {
    const std::pair<const char*, int> cases[] = {
        { "1048576", 1048576 }, { "nonsense", 2097152 },    { "", 2097152 }, { "0", 2097152 },
        { "-5", 2097152 },      { "99999999999", 2097152 }, { "1", 1 } };
    for( const auto& [variable, expected] : cases ) {
        SCOPED_TRACE( variable );
        InPackageFrame& frame = InPackageFrame::getInstance();
        frame.stop();
        {
            const ScopedEnvironment environment( "QV_THREAD_STACK_SIZE_DEFAULT", variable );
            frame.start();
        }
        EXPECT_EQ( MtThread::getDefaultStackSize(), expected );
        bool hasRun = false;
        const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) { hasRun = true; } );
        EXPECT_EQ( thread->getMaximumStackSize(), static_cast<std::uint64_t>( expected ) );
        thread->start();
        thread->join();
        EXPECT_TRUE( hasRun );
    }
    InPackageFrame::getInstance().stop();
    InPackageFrame::getInstance().start();
}

} // namespace
} // namespace Qv
