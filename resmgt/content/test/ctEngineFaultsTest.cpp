#include <base/failure/exStandard.h>
#include <resmgt/content/test/ctStage.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <resmgt/content/test/ctTestStores.h>
#include <resmgt/locks/test/futexWaitHook.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/rtPriorities.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/processCounts.h>
#include <tests/support/raisedBy.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <list>
#include <optional>
#include <random>
#include <regex>
#include <stdexcept>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

constexpr CtEngineOptions ENGINES[] = { { 1, 0, 2 }, { 4, 1, 2 }, { 0, 0, 0 } };

TEST( CtEngineFaultsTest, ReportsWhatCantBeRaised ) {
    const struct {
        std::function<void()> fail;
        std::size_t nbRaising;
        const char* calls;
        std::vector<std::string> reasons;
    } cases[] = {
        { [] { throw ExInternalError( QV_HERE, "torn cable" ); }, 0, "F", { "torn cable" } },
        { [] { throw std::runtime_error( "foreign" ); }, 0, "F", { "Unknown reason." } },
        { [] { throw 1; }, 1, "FF", { "Unknown reason.", "Unknown reason." } },
        { [] { throw ExInternalError( QV_HERE, "a" ); },
          9,
          "FF",
          { "a", "Unknown reason.", "Unknown reason." } },
        { nullptr, 9, "SFF", { "Unknown reason.", "Unknown reason.", "Unknown reason." } },
        { nullptr, 0, "S", {} },
    };
    for( const CtEngineOptions& options : ENGINES ) {
        for( const auto& c : cases ) {
            CaptureStdout();
            TestHandle handle( c.nbRaising );
            CtCounters counters;
            {
                OneBlockStore store( options );
                store.onTransfer = [&]( const CtPxTileId& ) {
                    if( c.fail ) {
                        c.fail();
                    }
                };
                store.submit( 5, handle );
                handle.await( std::string( c.calls ).size() );
                waitUntil( [&] { return store.getCounters().nbFailures == c.reasons.size(); },
                           "the count of failures" );
                counters = store.getCounters();
            }
            std::string expected;
            for( const std::string& reason : c.reasons ) {
                expected += "Async content operation on Processing tile id: 0000000000-0000000001, "
                            "offset = 5, size = 1 failed: " +
                            reason + "\n";
            }
            EXPECT_EQ( GetCapturedStdout(), expected );
            EXPECT_EQ( handle.getCalls(), c.calls );
            EXPECT_EQ( counters.nbAsync, 1u );
            EXPECT_EQ( counters.nbReads, c.fail ? 0u : 1u );
        }
    }
}

TEST( CtEngineFaultsTest, ManyRequestsEndAsOneDoesWhateverFails ) {
    constexpr unsigned int NB_REQUESTS = 500;
    for( const CtEngineOptions& options : ENGINES ) {
        std::list<TestHandle> handles;
        std::vector<std::string> expected;
        std::uint64_t nbFailures = 0;
        std::minstd_rand random( static_cast<unsigned int>( testSeed() ) );
        for( unsigned int i = 0; i < NB_REQUESTS; ++i ) {
            const std::size_t nbRaising = random() % 4;
            const std::string calls( i % 3 == 0 ? "FF" : "SFF" );
            handles.emplace_back( nbRaising );
            expected.push_back( calls.substr( 0, nbRaising + 1 ) );
            nbFailures += std::min( nbRaising, calls.size() ) + ( i % 3 == 0 ? 1 : 0 );
        }
        CaptureStdout();
        {
            OneBlockStore store( options );
            store.onTransfer = []( const CtPxTileId& tile ) {
                if( tile.getOffset() % 3 == 0 ) {
                    throw ExInternalError( QV_HERE, "torn cable" );
                }
            };
            std::atomic<unsigned int> nbTaken = 0;
            TestThreads( 3, [&] {
                for( unsigned int next = nbTaken++; next < NB_REQUESTS; next = nbTaken++ ) {
                    store.submit( next, *std::next( handles.begin(), next ) );
                }
            } ).join();
            store.blockUntilProcessed();
            for( const TestHandle& handle : handles ) {
                handle.await();
            }
            waitUntil( [&] { return store.getCounters().nbFailures == nbFailures; },
                       "the count of failures" );
        }
        GetCapturedStdout();
        EXPECT_TRUE( std::equal( handles.begin(), handles.end(), expected.begin(), expected.end(),
                                 []( const TestHandle& handle, const std::string& calls ) {
                                     return handle.getCalls() == calls;
                                 } ) );
    }
}

TEST( CtEngineFaultsTest, SynchronousFailureRaisesAndGivesItsPlaceBack ) {
    OneBlockStore store( { 0, 1, 1 } );
    bool isFailing = true;
    store.onTransfer = [&]( const CtPxTileId& ) {
        if( isFailing ) {
            throw ExInternalError( QV_HERE, "torn cable" );
        }
    };
    EXPECT_EQ( raisedBy( [&] { store.readAt( 1 ); } ), "torn cable" );
    EXPECT_EQ( raisedBy( [&] { store.readAt( 2 ); } ), "torn cable" );
    EXPECT_EQ( store.getCounters().nbFailures, 2u );
    isFailing = false;
    store.readAt( 3 );
    EXPECT_EQ( store.getCounters().nbReads, 1u );
}

TEST( CtEngineFaultsTest, HintIsDroppedBeforeTheCompletion ) {
    for( const CtEngineOptions& options : { ENGINES[0], ENGINES[1] } ) {
        OneBlockStore store( options );
        std::uint64_t nbOpen = 99;
        TestHandle handle( 0, [&] { nbOpen = store.getCounters().nbOpenFiles; } );
        Gate isDropped( "the caller has dropped its hint" );
        store.onTransfer = [&]( const CtPxTileId& ) {
            EXPECT_EQ( store.getCounters().nbOpenFiles, 1u );
            isDropped.wait();
        };
        EXPECT_FALSE( store.submit( 0, handle ).isNull() );
        isDropped.open();
        EXPECT_EQ( handle.await(), "S" );
        EXPECT_EQ( nbOpen, 0u );
    }
}

TEST( CtEngineFaultsTest, RequestWithoutMemoryRaisesAndLeavesNothing ) {
    for( const CtEngineOptions& options : ENGINES ) {
        OneBlockStore store( options );
        std::optional<TestHandle> handle;
        const auto submit = [&] {
            handle.emplace();
            store.submit( 0, *handle );
        };
        const auto check = [&]( bool hasFailed ) {
            // In an engine without workers the transfer and its report need memory too.
            const bool isComplete = !hasFailed || !handle->getCalls().empty();
            store.blockUntilProcessed();
            EXPECT_EQ( handle->await( isComplete ? 1 : 0 ).size(), isComplete ? 1u : 0u );
            EXPECT_EQ( store.getCounters().nbOpenFiles, 0u );
            store.readAt( 1 );
        };
        EXPECT_LT( forEachFailingNew( submit, check ), 100 );
    }
}

/// A store whose one worker serves the first of its three blocks until the stage opens.
class BusyStore {
public:
    BusyStore() {
        store.onTransfer = [this]( const CtPxTileId& tile ) {
            served.push_back( tile.getSerialId() );
            stage.pass( 0 );
        };
        for( CtSerialId& id : ids ) {
            id = store.createTile( 1 ).tile.getSerialId();
        }
        submit( 0, first );
        stage.awaitArrivals( 1 );
        // So that the next place in the queue needs memory.
        submit( 0, handles[0] );
    }

    void submit( std::size_t block, TestHandle& handle ) {
        store.asyncRead( CtPxTileId( ids[block], 0, 1 ), &memory, {}, &handle );
    }
    void submit( std::size_t block ) { submit( block, handles[block] ); }
    Stage stage;
    std::vector<CtSerialId> served;
    CtSerialId ids[3];
    TestHandle first;
    TestHandle handles[3];
    char memory = '\0';
    BlockingStore store{ "memory://busy", { 0, 1, 2 } };
};

TEST( CtEngineFaultsTest, RequestThatRaisedHasNotAskedForItsBlock ) {
    int nbNeeded = 0;
    {
        BusyStore measured;
        nbNeeded = forEachFailingNew( [&] { measured.submit( 1 ); } );
        measured.stage.open();
    }
    BusyStore busy;
    for( int nbAllocations = 0; nbAllocations < nbNeeded; ++nbAllocations ) {
        const FailingNew failing( nbAllocations );
        ASSERT_THROW( busy.submit( 1 ), std::bad_alloc );
    }
    busy.submit( 2 );
    busy.submit( 1 );
    busy.stage.open();
    EXPECT_EQ( busy.handles[1].await() + busy.handles[2].await(), "SS" );
    EXPECT_EQ( busy.served, ( std::vector{ busy.ids[0], busy.ids[0], busy.ids[2], busy.ids[1] } ) );
}

TEST( CtEngineFaultsTest, BlockingOnAWorkerIsAnAssertion ) {
    for( const CtEngineOptions& options : { ENGINES[0], ENGINES[1] } ) {
        OneBlockStore store( options );
        std::string raised;
        TestHandle handle( 0, [&] { raised = raisedBy( [&] { store.blockUntilProcessed(); } ); } );
        store.submit( 0, handle );
        handle.await();
        EXPECT_THAT( raised, HasSubstr( "isOwnWorker()" ) );
    }
}

TEST( CtEngineFaultsTest, BlockersAreOutBeforeTheEnd ) {
    for( const CtEngineOptions& options : { ENGINES[0], ENGINES[1] } ) {
        Stage stage;
        OPtr<OneBlockStore> store( new OneBlockStore( options ) );
        store->onTransfer = [&]( const CtPxTileId& ) { stage.pass( 0 ); };
        TestHandle handle;
        store->submit( 0, handle );
        HoldPoint wait( "the blocker waits" );
        TestThread blocker( [&] {
            const FutexWaitHook hook( wait, 0 );
            store->blockUntilProcessed();
        } );
        wait.waitUntilReached();
        stage.open();
        EXPECT_EQ( handle.await(), "S" );
        OneBlockStore* const ended = store.get();
        TestThread ending( [&] { delete ended; } );
        ending.waitUntilBlocked();
        EXPECT_FALSE( ending.isDone() );
        wait.release();
        ending.join();
        static_cast<void>( store.release() );
    }
}

/// A class that forgets to drain, or whose constructor fails.
class Forgetful : public BlockingStore {
public:
    explicit Forgetful( bool isFailing )
        : BlockingStore( "memory://forgetful", { 0, 1, 0 } ) {
        mustDrain = false;
        if( isFailing ) {
            throw ExInternalError( QV_HERE, "no network" );
        }
    }
};

TEST( CtEngineFaultsTest, FailedConstructorsLeaveNoThread ) {
    const int nbThreads = countThreads();
    EXPECT_EQ( raisedBy( [] { Forgetful store( true ); } ), "no network" );
    for( const int nbStarts : { 0, 1, 2 } ) {
        const FailingCall failing( "pthread_create", EAGAIN, FailingCall::FOR_GOOD, nbStarts + 1 );
        EXPECT_NE( raisedBy( [] { OneBlockStore store( { 0, 3, 2 } ); } ), "" );
    }
    EXPECT_LT( forEachFailingNew( [] { const OneBlockStore store( { 0, 2, 2 } ); } ), 1000 );
    waitUntil( [&] { return countThreads() == nbThreads; }, "the threads' end" );
}

TEST( CtEngineFaultsTest, EndsWithoutMemoryToWaitWith ) {
    const int nbThreads = countThreads();
    for( const CtEngineOptions& options : { ENGINES[0], ENGINES[1] } ) {
        Stage stage;
        OPtr<OneBlockStore> store( new OneBlockStore( options ) );
        store->onTransfer = [&]( const CtPxTileId& ) { stage.pass( 0 ); };
        TestHandle handle;
        store->submit( 0, handle );
        stage.awaitArrivals( 1 );
        OneBlockStore* const ended = store.release();
        TestThread ending( [&] {
            const FailingNew failing( 0 );
            delete ended;
        } );
        ending.waitUntilBlocked();
        stage.open();
        ending.join();
        EXPECT_EQ( handle.getCalls(), "S" );
    }
    waitUntil( [&] { return countThreads() == nbThreads; }, "the threads' end" );
}

/// Can be drained early.
struct DrainedStore : OneBlockStore {
    using CtNonAsyncServer::drain;
    using OneBlockStore::OneBlockStore;
};

TEST( CtEngineFaultsTest, RequestsAfterTheDrainAreAssertions ) {
    for( const CtEngineOptions& options : ENGINES ) {
        DrainedStore store( options );
        store.drain();
        TestHandle handle;
        EXPECT_THAT( raisedBy( [&] { store.submit( 0, handle ); } ),
                     HasSubstr( "\"!_isDrained\"" ) );
        EXPECT_THAT( raisedBy( [&] { store.readAt( 0 ); } ), HasSubstr( "\"!_isDrained\"" ) );
        EXPECT_EQ( handle.getCalls(), "" );
        store.blockUntilProcessed();
    }
}

TEST( CtEngineFaultsTest, ClassThatDoesntDrainIsAnAssertionAndItsRequestsFail ) {
    EXPECT_THAT( raisedBy( [] { Forgetful store( false ); } ), HasSubstr( "_isDrained" ) );
    Gate hasTransferred( "the first transfer" );
    Gate isEnding( "the destructor waits" );
    TestHandle held( 0, [&] {
        hasTransferred.open();
        isEnding.wait();
    } );
    std::list<TestHandle> queued;
    OPtr<Forgetful> store( new Forgetful( false ) );
    const CtSerialId id = store->createTile( 1 ).tile.getSerialId();
    char memory = '\0';
    store->asyncRead( CtPxTileId( id, 0, 1 ), &memory, {}, &held );
    for( int i = 0; i < 3; ++i ) {
        store->asyncRead( CtPxTileId( id, 0, 1 ), &memory, {}, &queued.emplace_back() );
    }
    hasTransferred.wait();
    Forgetful* const ended = store.release();
    TestThread ending(
        [&] { EXPECT_THAT( raisedBy( [&] { delete ended; } ), HasSubstr( "_isDrained" ) ); } );
    ending.waitUntilBlocked();
    isEnding.open();
    ending.join();
    EXPECT_EQ( held.getCalls(), "S" );
    expectEach( queued, "F" );
}

TEST( CtEngineFaultsTest, StandsBelowRealTimeWithAllItsWorkers ) {
    OneBlockStore store( { 0, 2, 2 } );
    const std::string graph = dumpOf( MtPriorityMgr::getInstance() );
    for( const char* const relation : { "\"rt<content\"", "\"ct-prio-h\"" } ) {
        EXPECT_THAT( graph, HasSubstr( relation ) );
    }
    Priority& priority = store.getServerPriority();
    EXPECT_EQ( priority.getName(), "ct-group" );
    Priority& realTime = RtPriorities::getInstance().getRealTimePriority();
    EXPECT_LT( priority.getPriority(), realTime.getPriority() );
    EXPECT_NE( raisedBy( [&] {
                   const PriorityRelation above( "above", realTime, PriorityRelation::LESS_OR_EQUAL,
                                                 priority );
               } ),
               "" );
}

TEST( CtEngineDeathTest, FailureIsLoggedAsAnErrorOfContent ) {
    const TempDirectory directory;
    // The process that is started has the name from this one, and so its log.
    ::setenv( "QV_LOG_UNSPECIFIED_IN_TEST", ( directory.path() / "log" ).c_str(), 0 );
    const std::string path = std::getenv( "QV_LOG_UNSPECIFIED_IN_TEST" );
    const ScopedEnvironment log( "QV_LOG_UNSPECIFIED", path.c_str() );
    EXPECT_EXIT(
        {
            OneBlockStore store( ENGINES[1] );
            store.onTransfer = []( const CtPxTileId& ) { throw std::bad_alloc(); };
            TestHandle handle;
            store.submit( 5, handle );
            waitUntil(
                [&] {
                    return std::regex_search(
                        readFile( path ),
                        std::regex( "\\[Error *\\] \\[Content *\\] Async content operation on "
                                    ".* offset = 5, size = 1 failed: Unknown reason\\." ) );
                },
                "the line in the log" );
            ::_exit( 0 );
        },
        ::testing::ExitedWithCode( 0 ), "" );
    ::unsetenv( "QV_LOG_UNSPECIFIED_IN_TEST" );
}

} // namespace
} // namespace Qv
