#include <base/failure/exStandard.h>
#include <resmgt/content/test/ctOrderModel.h>
#include <resmgt/content/test/ctStage.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <resmgt/content/test/ctTestStores.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <array>
#include <list>
#include <random>

namespace Qv {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

constexpr CtEngineOptions PLAIN{ 1, 0, 2 };
constexpr CtEngineOptions PRIO{ 4, 1, 2 };
constexpr CtEngineOptions NO_WORKER{ 0, 0, 2 };
constexpr unsigned int LIMIT = 100;

std::string currentThreadName() {
    MtThread* const thread = MtThreadMgr::findCurrentThread();
    return thread != nullptr ? thread->getName() : "";
}

TEST( CtEngineOptionsTest, AreThoseOfTheEnvironmentAsTheServerIsMade ) {
    const struct {
        const char* texts[4];
        int expected[4];
    } cases[] = {
        { { nullptr, nullptr, nullptr, nullptr }, { 4, 2, 2, 1024 } },
        { { "7", "0", "1", "12 files" }, { 7, 0, 1, 12 } },
        { { "-3", "9", "", "-1" }, { -3, 9, 0, -1 } },
    };
    for( const auto& c : cases ) {
        const ScopedEnvironment variables[] = {
            ScopedEnvironment( "QV_CONTENT_NB_ASYNC_THREADS", c.texts[0] ),
            ScopedEnvironment( "QV_CONTENT_NB_ASYNC_PRIO_THREADS", c.texts[1] ),
            ScopedEnvironment( "QV_CONTENT_NB_SYNC_PRIO_REQUESTS", c.texts[2] ),
            ScopedEnvironment( "QV_MAX_NB_OPEN_FILES", c.texts[3] ) };
        const CtEngineOptions options = CtEngineOptions::getConfigured();
        EXPECT_THAT(
            ( std::array{ options.nbAsyncThreads, options.nbAsyncPrioThreads,
                          options.nbSyncPrioRequests, CtEngineOptions::getMaxNbOpenFiles() } ),
            ElementsAreArray( c.expected ) );
    }
}

TEST( CtEngineTest, HasTheWorkersAndTheGateOfItsOptions ) {
    const struct {
        CtEngineOptions options;
        std::size_t nbWorkers;
        const char* pool;
        std::size_t nbSynchronous;
    } cases[] = {
        { { 4, 2, 2 }, 2, "ct-prio-h", 2 }, { { 4, 0, 2 }, 4, "ct-async-h", 2 },
        { { 0, 1, 0 }, 1, "ct-prio-h", 5 }, { { 3, 0, 0 }, 3, "ct-async-h", 5 },
        { { 0, 0, 1 }, 0, "", 1 },          { { 0, 0, 0 }, 0, "", 5 },
        { { -1, -1, -1 }, 0, "", 5 },       { { 1, -5, 3 }, 1, "ct-async-h", 3 },
    };
    for( const auto& c : cases ) {
        Stage asynchronous;
        Stage synchronous;
        constexpr unsigned int NB_REQUESTS = 5;
        std::list<TestHandle> handles;
        {
            OneBlockStore store( c.options );
            store.onTransfer = [&]( const CtPxTileId& tile ) {
                const bool isAsync = tile.getOffset() < NB_REQUESTS;
                EXPECT_THAT( currentThreadName(), HasSubstr( isAsync ? c.pool : "" ) );
                ( isAsync ? asynchronous : synchronous ).pass( 0 );
            };
            if( c.nbWorkers == 0 ) {
                asynchronous.open();
            }
            for( unsigned int i = 0; i < NB_REQUESTS; ++i ) {
                store.submit( i, handles.emplace_back() );
            }
            asynchronous.awaitArrivals( c.nbWorkers );
            EXPECT_EQ( store.getSnapshot().nbQueued, c.nbWorkers == 0 ? 0 : 5 - c.nbWorkers );
            const TestThreads readers( NB_REQUESTS,
                                       [&]( unsigned int i ) { store.readAt( NB_REQUESTS + i ); } );
            synchronous.awaitArrivals( c.nbSynchronous );
            waitUntil( [&] { return store.getCounters().nbWaits == 5 - c.nbSynchronous; },
                       "the readers that wait" );
            EXPECT_EQ( synchronous.awaitArrivals( 0 ).size(), c.nbSynchronous );
            EXPECT_EQ( asynchronous.awaitArrivals( 0 ).size(),
                       c.nbWorkers == 0 ? NB_REQUESTS : c.nbWorkers );
            asynchronous.open();
            synchronous.open();
        }
        expectEach( handles, "S" );
    }
}

TEST( CtEngineTest, WithoutWorkersCompletesOnTheCallingThread ) {
    OneBlockStore store( NO_WORKER );
    std::thread::id completer;
    TestHandle handle( 0, [&] { completer = std::this_thread::get_id(); } );
    store.onTransfer = []( const CtPxTileId& ) { throw ExInternalError( QV_HERE, "torn" ); };
    store.submit( 0, handle );
    EXPECT_EQ( handle.getCalls(), "F" );
    EXPECT_EQ( completer, std::this_thread::get_id() );
    store.blockUntilProcessed();
    EXPECT_EQ( store.getSnapshot().nbDone, 0u );
}

/// A store with one worker, which stands still in each transfer, and the model of its queue.
class QueueRun {
public:
    explicit QueueRun( const CtEngineOptions& options )
        : _hasKeys( options.nbAsyncPrioThreads > 0 )
        , _store( "memory://queue", options ) {
        for( CtSerialId& id : _ids ) {
            id = _store.createTile( 16 ).tile.getSerialId();
        }
        _store.onTransfer = [this]( const CtPxTileId& ) { _stage.pass( 0 ); };
    }
    ~QueueRun() { _stage.open(); }

    /// Three pieces of two blocks.
    std::vector<CtPxTileId> getTiles() const {
        return { CtPxTileId( _ids[1], 0, 1 ), CtPxTileId( _ids[1], 8, 1 ),
                 CtPxTileId( _ids[0], 4, 1 ) };
    }
    void run( const std::vector<CtPxTileId>& tiles, const std::vector<int>& events ) {
        OrderModel model( 1, _hasKeys );
        std::vector<int> expected;
        std::vector<int> completed;
        std::list<TestHandle> handles;
        for( const int event : events ) {
            const int next = static_cast<int>( handles.size() );
            std::optional<int> admitted;
            if( event == NEXT ) {
                const CtPxTileId& tile = tiles[handles.size()];
                admitted = model.arrive( next, tile );
                _store.asyncRead( tile, &_memory, {}, &handles.emplace_back( 0, [&, next] {
                    completed.push_back( next );
                } ) );
            } else {
                expected.push_back( *model.getActive().begin() );
                admitted = model.end( expected.back() );
                _stage.release( 0 );
                ++_nbDone;
                spinUntil( [&] { return _store.getSnapshot().nbDone == _nbDone; }, "an end" );
                ASSERT_EQ( completed, expected );
            }
            if( admitted ) {
                _stage.awaitArrivals( ++_nbTaken );
            }
        }
    }

private:
    const bool _hasKeys;
    BlockingStore _store;
    Stage _stage;
    CtSerialId _ids[2];
    char _memory = '\0';
    std::uint64_t _nbDone = 0;
    std::size_t _nbTaken = 0;
};

TEST( CtEngineTest, ServesAFewRequestsInTheOrderOfTheModelHoweverTheyCome ) {
    const int nbRequests = scaledCount( 10 ) < 10 ? 3 : 4;
    for( const CtEngineOptions& options : { PLAIN, PRIO } ) {
        QueueRun queue( options );
        forEachSchedule( nbRequests, 1, [&]( const std::vector<int>& events ) {
            forEachChoice(
                queue.getTiles(), nbRequests,
                [&]( const std::vector<CtPxTileId>& tiles ) { queue.run( tiles, events ); } );
        } );
    }
}

TEST( CtEngineTest, ServesManyRequestsInTheOrderOfTheModel ) {
    std::minstd_rand random( static_cast<unsigned int>( testSeed() ) );
    for( const CtEngineOptions& options : { PLAIN, PRIO } ) {
        QueueRun queue( options );
        for( long round = scaledCount( 20 ); round > 0; --round ) {
            std::vector<CtPxTileId> tiles;
            std::vector<int> events;
            for( int nbOpen = 0; tiles.size() < 80 || nbOpen > 0; ) {
                const bool isComing = tiles.size() < 80 && ( nbOpen == 0 || random() % 5 < 3 );
                nbOpen += isComing ? 1 : -1;
                events.push_back( isComing ? NEXT : 0 );
                if( isComing ) {
                    tiles.push_back( queue.getTiles()[random() % 3] );
                }
            }
            queue.run( tiles, events );
        }
    }
}

TEST( CtEngineTest, SynchronousRequestKeepsItsBlocksPlaceInTheQueue ) {
    Stage stage;
    BlockingStore store( "memory://gate", PRIO );
    std::vector<CtSerialId> ids;
    for( int i = 0; i < 3; ++i ) {
        ids.push_back( store.createTile( 8 ).tile.getSerialId() );
    }
    std::mutex mutex;
    std::vector<CtSerialId> served;
    store.onTransfer = [&]( const CtPxTileId& tile ) {
        stage.pass( static_cast<int>( tile.getOffset() ) );
        const std::lock_guard guard( mutex );
        served.push_back( tile.getSerialId() );
    };
    char memory[8];
    std::list<TestHandle> handles;
    const auto submit = [&]( CtSerialId id, unsigned int offset ) {
        store.asyncRead( CtPxTileId( id, offset, 1 ), &memory[offset], {},
                         &handles.emplace_back() );
    };
    submit( ids[0], 1 );
    stage.awaitArrivals( 1 );
    TestThread reader( [&] { store.read( CtPxTileId( ids[2], 0, 1 ), &memory[0], {} ); } );
    stage.awaitArrivals( 2 );
    // Asked for later than by the reader, whose block is the last one by its number.
    submit( ids[1], 2 );
    submit( ids[2], 3 );
    for( const int offset : { 1, 3, 2, 0 } ) {
        stage.release( offset );
    }
    waitUntil( [&] { return store.getSnapshot().nbDone == 3; }, "the queue's end" );
    reader.join();
    std::erase( served, ids[0] );
    const auto isReader = [&]( CtSerialId id ) { return id == ids[2]; };
    EXPECT_TRUE( isReader( served.front() ) );
    EXPECT_EQ( std::count_if( served.begin(), served.end(), isReader ), 2 );
    EXPECT_EQ( stage.awaitArrivals( 4 )[2], 3 );
}

TEST( CtEngineTest, RequestBeyondTheLimitWaitsUnlessAWorkerMakesIt ) {
    for( const CtEngineOptions& options : { PLAIN, PRIO } ) {
        Stage stage;
        std::list<TestHandle> handles;
        std::list<TestHandle> replayed;
        OneBlockStore store( options );
        store.onTransfer = [&]( const CtPxTileId& ) { stage.pass( 0 ); };
        TestHandle first( 0, [&] {
            EXPECT_EQ( store.getSnapshot().nbQueued, LIMIT );
            for( unsigned int i = 0; i < LIMIT; ++i ) {
                store.submit( i, replayed.emplace_back() );
            }
        } );
        store.submit( 0, first );
        stage.awaitArrivals( 1 );
        for( unsigned int i = 0; i < LIMIT; ++i ) {
            store.submit( i, handles.emplace_back() );
        }
        EXPECT_EQ( store.getSnapshot().nbWaits, 0u );
        EXPECT_EQ( store.getSnapshot().nbQueued, LIMIT );
        TestHandle beyond;
        TestThread pusher( [&] { store.submit( LIMIT, beyond ); } );
        waitUntil( [&] { return store.getSnapshot().nbBlockedProducers == 1; }, "the wait" );
        EXPECT_EQ( store.getSnapshot().nbWaits, 1u );
        EXPECT_EQ( stage.awaitArrivals( 0 ).size(), 1u );
        stage.release( 0 );
        // Its completion has pushed all before the worker takes the next one.
        stage.awaitArrivals( 2 );
        stage.open();
        pusher.join();
        EXPECT_EQ( beyond.await(), "S" );
        store.blockUntilProcessed();
        for( const auto* const list : { &handles, &replayed } ) {
            EXPECT_EQ( list->size(), LIMIT );
            expectEach( *list, "S" );
        }
    }
}

} // namespace
} // namespace Qv
