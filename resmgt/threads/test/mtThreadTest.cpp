#include <base/failure/assertions.h>
#include <base/trace/traceManager.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/priorityUpdate.h>
#include <resmgt/threads/src/mtThreadTrace.h>
#include <resmgt/threads/src/posix/mtThreadNamePosix.h>
#include <resmgt/threads/test/testProtocol.h>
#include <resmgt/threads/test/threadCalls.h>
#include <resmgt/threads/test/tracedText.h>
#include <tests/support/childProcess.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;

TEST( MtThreadTest, IsMadeStartedJoinedAndStartedAgain ) {
    const int nbBefore = mgr().getNbThreads();
    int nbRuns = 0;
    LkThreadId inside;
    {
        HoldPoint body( "body" );
        const OPtr<MtThread> thread = makeThread( [&]( MtThread& self ) {
            EXPECT_EQ( MtThreadMgr::findCurrentThread(), &self );
            inside.setCurrentThread();
            ++nbRuns;
            body.pass();
        } );
        EXPECT_FALSE( thread->isRunning() );
        EXPECT_EQ( thread->getId(), LkThreadId() );
        EXPECT_EQ( thread->getBaseStackAddress(), nullptr );
        EXPECT_EQ( mgr().getNbThreads(), nbBefore + 1 );
        thread->start();
        EXPECT_EQ( assertedBy( [&] { thread->start(); } ), "!isRunningNoLock()" );
        body.waitUntilReached();
        EXPECT_TRUE( thread->isRunning() );
        EXPECT_EQ( thread->getId(), inside );
        EXPECT_EQ( mgr().findThread( inside ), thread.get() );
        EXPECT_EQ( mgr().findThread( "test" ), thread.get() );
        EXPECT_NE( thread->getBaseStackAddress(), nullptr );
        EXPECT_THAT( dumpOf( *thread ), HasSubstr( "RUNNING" ) );
        body.release();
        thread->join();
        EXPECT_FALSE( thread->isRunning() );
        thread->join();
        thread->start();
        thread->join();
        EXPECT_EQ( nbRuns, 2 );
    }
    EXPECT_EQ( mgr().getNbThreads(), nbBefore );
    EXPECT_EQ( mgr().findThread( "test" ), nullptr );
}

TEST( MtThreadTest, AnEndedThreadRunsOnUntilItIsJoinedButHasNoNumber ) {
    LkThreadId inside;
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) { inside.setCurrentThread(); } );
    thread->start();
    waitUntil( [&] { return thread->getId() == LkThreadId(); }, "the end of a body" );
    EXPECT_TRUE( thread->isRunning() );
    // The number may be another thread's by now.
    EXPECT_EQ( mgr().findThread( inside ), nullptr );
    thread->join();
}

TEST( MtThreadTest, RunsWithoutAProtocolAndWithAnyName ) {
    const std::array<std::string, 5> names{ "", std::string( 3000, 'n' ), "\xff\xfe\x80",
                                            std::string( "a\0b", 3 ), "line\nbreak \x1b[31m" };
    for( const std::string& name : names ) {
        const OPtr<MtThread> thread = makeThread( OPtr<MtThreadProtocol>(), name );
        EXPECT_EQ( thread->getName(), name );
        EXPECT_EQ( thread->getProtocol(), nullptr );
        thread->start();
        thread->stop();
        thread->join();
        EXPECT_TRUE( OPtr<MtThreadProtocol>( thread->releaseProtocol() ).isNull() );
    }
}

TEST( MtThreadTest, TheSystemShowsTheNamesHeadAndItsNumber ) {
    const std::pair<std::string, std::string> cases[] = {
        { "", "" },
        { "fifteen letters", "fifteen letters" },
        { "sixteen letters!", "sixteen letters" },
        { "a long pool's name 12", "a long pool's12" },
        { "12345678901234567890", "678901234567890" },
        // A character of two bytes, of which only one has room.
        { "fourteen bytes\xc3\xa9", "fourteen bytes" },
        { "thirteen byte\xc3\xa9x9", "thirteen byte9" },
        { "\xff\x1b", "??" } };
    for( const auto& [name, shown] : cases ) {
        EXPECT_EQ( MtThreadNamePosix::makeShown( name ), shown );
    }
    std::string seen;
    runThread(
        [&]( MtThread& ) { std::getline( std::ifstream( "/proc/thread-self/comm" ), seen ); },
        "painter of tiles 7" );
    EXPECT_EQ( seen, "painter of til7" );
}

TEST( MtThreadTest, WhatABodyRaisesComesOutOfOneJoin ) {
    const std::pair<TestProtocol::Step, std::string> cases[] = {
        { []( MtThread& ) { throw ExInternalError( QV_HERE, "ours" ); }, "ours" },
        { []( MtThread& ) { throw std::runtime_error( "the library's" ); }, "the library's" },
        { []( MtThread& ) { throw 7; }, "foreign exception of type int" } };
    for( const auto& [body, reason] : cases ) {
        const OPtr<MtThread> thread = makeThread( body );
        thread->start();
        waitUntil( [&] { return thread->getId() == LkThreadId(); }, "the end of a body" );
        EXPECT_TRUE( thread->isRunning() );
        EXPECT_THAT( raisedBy<ExRethrow<ExBase>>( [&] { thread->join(); } ), HasSubstr( reason ) );
        EXPECT_EQ( raisedBy( [&] { thread->join(); } ), "" );
    }
}

TEST( MtThreadTest, AllWhoJoinReturnAndOneGetsTheException ) {
    HoldPoint body( "body" );
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) {
        body.pass();
        throw ExInternalError( QV_HERE, "once" );
    } );
    thread->start();
    std::atomic<int> nbRaised = 0;
    const auto join = [&] { nbRaised += raisedBy( [&] { thread->join(); } ) == "once" ? 1 : 0; };
    TestThread first( join );
    TestThread second( join );
    first.waitUntilBlocked();
    second.waitUntilBlocked();
    body.release();
    first.join();
    second.join();
    EXPECT_EQ( nbRaised, 1 );
}

TEST( MtThreadTest, ATimedJoinGivesUpAndChangesNothing ) {
    HoldPoint body( "body" );
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) {
        body.pass();
        throw ExInternalError( QV_HERE, "kept" );
    } );
    EXPECT_TRUE( thread->timedJoin( 0.0 ) );
    thread->start();
    for( const double seconds : { 0.0, -1.0, 0.01, std::nan( "" ) } ) {
        EXPECT_FALSE( thread->timedJoin( seconds ) );
    }
    EXPECT_TRUE( thread->isRunning() );
    body.release();
    EXPECT_EQ( raisedBy( [&] { thread->timedJoin( 1e9 ); } ), "kept" );
    EXPECT_TRUE( thread->timedJoin( 0.0 ) );
}

TEST( MtThreadTest, ToJoinWhatCanNotEndIsAnAssertion ) {
    std::string raised;
    runThread( [&]( MtThread& self ) { raised = assertedBy( [&] { self.join(); } ); } );
    EXPECT_EQ( raised, "!isCurrentThread()" );
    MtThread& main = *mgr().getMainThread();
    EXPECT_EQ( assertedBy( [&] { main.join(); } ), "!isCurrentThread()" );
    TestThread( [&] { EXPECT_EQ( assertedBy( [&] { main.join(); } ), "!_isMainThread" ); } ).join();
}

TEST( MtThreadTest, ABodyThatDestroysItsThreadGoesOnWithoutIt ) {
    const int nbBefore = mgr().getNbThreads();
    const std::string graphBefore = dumpOf( MtPriorityMgr::getInstance() );
    Gate ended( "end of the body" );
    std::string raised;
    OPtr<MtThread> thread;
    HoldPoint body( "body" );
    // In the protocol, which lives as long as the body.
    const std::string own( 100, 'o' );
    thread = makeThread( [&, own]( MtThread& ) {
        body.pass();
        raised = assertedBy( [&] { delete thread.release(); } );
        EXPECT_EQ( MtThreadMgr::findCurrentThread(), nullptr );
        EXPECT_EQ( mgr().getNbThreads(), nbBefore );
        EXPECT_EQ( own, std::string( 100, 'o' ) );
        ended.open();
    } );
    thread->start();
    body.release();
    ended.wait();
    EXPECT_EQ( raised, "!isCurrentThread()" );
    EXPECT_EQ( dumpOf( MtPriorityMgr::getInstance() ), graphBefore );
}

TEST( MtThreadTest, DestroyingStopsWaitsDetachesRemovesAndThenRaises ) {
    Gate stopped( "stop" );
    std::vector<std::string> steps;
    OPtr<TestProtocol> protocol( new TestProtocol );
    protocol->onStop = [&]( MtThread& ) { stopped.open(); };
    protocol->onExecute = [&]( MtThread& ) {
        stopped.wait();
        steps.push_back( "end" );
        throw ExInternalError( QV_HERE, "unread" );
    };
    protocol->onDetach = [&]( MtThread& thread ) {
        EXPECT_FALSE( thread.isRunning() );
        steps.push_back( "detach" );
    };
    MtThread* const thread = makeThread( protocol ).release();
    thread->start();
    EXPECT_EQ( raisedBy<ExRethrow<ExBase>>( [&] { delete thread; } ), "unread" );
    EXPECT_THAT( steps, testing::ElementsAre( "end", "detach" ) );
    EXPECT_EQ( mgr().findThread( "test" ), nullptr );
}

TEST( MtThreadTest, WhileTheStackUnwindsTheDestructorReportsInstead ) {
    struct Owner {
        ~Owner() noexcept( false ) { delete thread; }
        MtThread* thread;
    };
    captureTrace();
    const std::string raised = raisedBy( [] {
        const Owner owner{ makeThread( []( MtThread& ) {
                               throw ExInternalError( QV_HERE, "second" );
                           } ).release() };
        owner.thread->start();
        throw std::runtime_error( "first" );
    } );
    EXPECT_EQ( raised, "first" );
    EXPECT_THAT( takeTrace(), HasSubstr( "second" ) );
    EXPECT_EQ( mgr().findThread( "test" ), nullptr );
}

TEST( MtThreadTest, AFailedAttachLeavesNoThreadAndGivesTheProtocolBack ) {
    const int nbBefore = mgr().getNbThreads();
    TestProtocol* const made = new TestProtocol;
    made->onAttach = []( MtThread& thread ) {
        EXPECT_EQ( mgr().findThread( thread.getName() ), &thread );
        throw std::runtime_error( "no" );
    };
    OPtr<MtThreadProtocol> protocol( made );
    EXPECT_EQ( raisedBy( [&] {
                   OPtr<MtThread>(
                       MtThreadFactory::getInstance().createThread( "x", protocol, false, 0 ) );
               } ),
               "no" );
    EXPECT_EQ( protocol.get(), made );
    EXPECT_EQ( mgr().getNbThreads(), nbBefore );
}

// Detaching changes the graph, whose lock comes before the thread's.
TEST( MtThreadTest, AProtocolIsDetachedWithoutTheThreadsLock ) {
    OPtr<TestProtocol> protocol( new TestProtocol );
    bool isRaising = true;
    protocol->onDetach = [&]( MtThread& thread ) {
        TestThread( [&] {
            Priority below( "below", MtPriorityMgr::getInstance() );
            const PriorityRelation relation( "r", below, PriorityRelation::LESS,
                                             thread.getPriority() );
        } ).join();
        if( isRaising ) {
            throw std::runtime_error( "not now" );
        }
    };
    TestProtocol* const made = protocol.get();
    const OPtr<MtThread> thread = makeThread( protocol );
    EXPECT_EQ( raisedBy( [&] { OPtr<MtThreadProtocol>( thread->releaseProtocol() ); } ),
               "not now" );
    EXPECT_EQ( thread->getProtocol(), made );
    isRaising = false;
    EXPECT_EQ( OPtr<MtThreadProtocol>( thread->releaseProtocol() ).get(), made );
    EXPECT_EQ( thread->getProtocol(), nullptr );
}

TEST( MtThreadTest, ADumpNeverHoldsTheThreadWhileItWaitsForTheGraph ) {
    struct Client : PriorityUpdate {
        void updatePriority( int ) override {
            if( onUpdate ) {
                onUpdate();
            }
        }
        std::function<void()> onUpdate;
    };
    const OPtr<MtThread> thread = makeThread( nullptr, "dumped" );
    std::optional<TestThread> dumper;
    std::string dump;
    Client client;
    client.onUpdate = [&] {
        dumper.emplace( [&] { dump = dumpOf( *thread ); } );
        dumper->waitUntilBlocked();
        EXPECT_FALSE( thread->isRunning() );
    };
    const Priority told( "told", MtPriorityMgr::getInstance(), Priority::NOT_SET, &client );
    client.onUpdate = nullptr;
    dumper->join();
    EXPECT_EQ( dump, "dumped prio 0 NTprio 0 pol RR SYSTEM ex? no exception processor Affnity " +
                         std::to_string( thread->getProcessorAffinity() ) + "STOPPED" );
}

TEST( MtThreadTest, TheSystemsOwnEndOfAThreadWakesThoseWhoJoin ) {
    const OPtr<MtThread> thread = makeThread( []( MtThread& ) { ::pthread_exit( nullptr ); } );
    thread->start();
    thread->join();
    EXPECT_FALSE( thread->isRunning() );
}

RCShdPtr<LkThreadOpaqueData> lateData;

TEST( MtThreadTest, ADyingThreadStillTracesAndKnowsItself ) {
    static MtThread* seen = nullptr;
    lateData = LkThreadOpaqueDataFactory::create(
        "late", []() -> void* { return new int; },
        []( void* value ) {
            delete static_cast<int*>( value );
            seen = MtThreadMgr::findCurrentThread();
            std::ostringstream text;
            text << "the last words";
            TraceManager::getInstance().getTrace().log( text, QV_HERE );
        } );
    const OPtr<MtThread> thread = makeThread( []( MtThread& ) {
        // Its trace is freed before the other data, which was made later.
        TraceManager::getInstance().getTrace();
        lateData->getPointee();
    } );
    testing::internal::CaptureStderr();
    thread->start();
    thread->join();
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "the last words" ) );
    EXPECT_EQ( seen, thread.get() );
    lateData = RCShdPtr<LkThreadOpaqueData>();
}

TEST( MtThreadTest, TheTraceLevelShowsPrioritiesTheStartTheEndAndTheException ) {
    const std::pair<TestProtocol::Step, std::vector<const char*>> cases[] = {
        { nullptr, { "Ending: traced prio " } },
        { []( MtThread& ) { throw std::runtime_error( "broken" ); },
          { "MtThreadWindows: caught an exception:", "broken", "Call stack: " } },
    };
    for( const auto& [body, endings] : cases ) {
        captureTrace();
        MtThreadTrace::getLevel().setEnabled( true );
        const OPtr<MtThread> thread = makeThread( body, "traced" );
        thread->start();
        raisedBy<ExBase>( [&] { thread->join(); } );
        MtThreadTrace::getLevel().setEnabled( false );
        const std::string text = takeTrace();
        std::vector<const char*> parts = { "Setting priority of thread traced to NT priority enum ",
                                           "Old NT priority: ", "New NT priority: ",
                                           "Scheduled priority: ", "Starting: traced prio " };
        parts.insert( parts.end(), endings.begin(), endings.end() );
        std::size_t place = 0;
        for( const char* const part : parts ) {
            place = text.find( part, place );
            ASSERT_NE( place, std::string::npos ) << part << " in " << text;
        }
    }
}

TEST( MtThreadTest, AnExceptionWithoutMemoryIsReplacedAndNoneIsLostInAJoin ) {
    const auto throwPoorly = []( MtThread& ) {
        exhaustMemory();
        throw std::runtime_error( "something" );
    };
    EXPECT_THAT( raisedBy<ExRethrow<ExBase>>( [&] { runThread( throwPoorly ); } ),
                 HasSubstr( "no memory" ) );

    const OPtr<MtThread> thread =
        makeThread( []( MtThread& ) { throw ExInternalError( QV_HERE, "dear" ); } );
    thread->start();
    waitUntil( [&] { return thread->getId() == LkThreadId(); }, "the end of a body" );
    EXPECT_THROW(
        {
            const FailingNew failing( 0 );
            thread->join();
        },
        std::bad_alloc );
    EXPECT_EQ( raisedBy( [&] { thread->join(); } ), "dear" );
}

using MtThreadDeathTest = testing::Test;

TEST( MtThreadDeathTest, AnUnhandledExceptionEndsTheProcessWithItsWholeText ) {
    const ScopedEnvironment echoed( "QV_LOG_FATAL_ERROR", "%" );
    const std::pair<TestProtocol::Step, const char*> cases[] = {
        { []( MtThread& ) { throw ExInternalError( QV_HERE, "the reason" ); },
          "MtThreadWindows: Terminating on unhandled exception:\n.*the reason.*\nfrom thread:\n"
          "the thread\nCall stack:.*\nMtThreadWindows: Terminating" },
        { []( MtThread& ) {
             exhaustMemory();
             throw std::bad_alloc();
         },
          "no memory" } };
    for( const auto& one : cases ) {
        EXPECT_EXIT(
            {
                ::dup2( STDERR_FILENO, STDOUT_FILENO );
                OPtr<MtThreadProtocol> protocol( new TestProtocol( one.first ) );
                const OPtr<MtThread> thread( makeThread( protocol, "the thread", true ) );
                thread->start();
                thread->join();
            },
            testing::ExitedWithCode( 1 ), one.second );
    }
}

/// Whether `operation` succeeds without that call of the system.
bool succeedsWithout( const char* call, const std::function<void()>& operation ) {
    const ProcessFailingCall failing( call, EINVAL );
    return assertedBy( operation ).empty() && !failing.hasFailed();
}

TEST( MtThreadDeathTest, AForkedChildStartsNoThreadWaitsForNoneAndLeavesItsParentsAlone ) {
    HoldPoint body( "body" );
    const OPtr<MtThread> running = makeThread( [&]( MtThread& ) { body.pass(); } );
    const OPtr<MtThread> idle = makeThread( nullptr );
    Priority below( "below", MtPriorityMgr::getInstance() );
    running->start();
    body.waitUntilReached();
    const pid_t child = ::fork();
    if( child == 0 ) {
        const bool isRefused = assertedBy( [&] { idle->start(); } ) == "canStart()" &&
                               assertedBy( [&] { running->join(); } ) == "isOfThisProcess()";
        const bool isLeftAlone =
            succeedsWithout( "sched_setaffinity", [&] { running->setProcessorNb( -1 ); } ) &&
            succeedsWithout( "setpriority", [&] {
                const PriorityRelation relation( "r", below, PriorityRelation::LESS,
                                                 running->getPriority() );
            } );
        ::_exit( ( isRefused ? 0 : 1 ) + ( isLeftAlone ? 0 : 2 ) );
    }
    expectSuccess( child );
    body.release();
    running->join();
}

} // namespace
} // namespace Qv
