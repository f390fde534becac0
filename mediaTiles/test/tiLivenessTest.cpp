#include <mediaTiles/tiProtocol.h>

#include <mediaTiles/test/tiTestStore.h>
#include <tests/support/holdPoint.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <random>

namespace Qv {
namespace {

/// Tiles that threads lock by twos, save and ask for ahead of need, in a memory that has room for
/// just two a thread.
class Traffic {
public:
    Traffic( const CtEngineOptions& options, unsigned int nbThreads )
        : _server( options )
        , _tiles( _server, 2 * nbThreads ) {
        for( std::size_t i = 0; i < 6 * nbThreads; ++i ) {
            _all.emplace_back().buffer = _tiles.make();
        }
        _server.onTransfer = [this]( const CtPxTileId& ) {
            if( _isFailing && _nbTransfers.fetch_add( 1 ) % 7 == 6 ) {
                throw ExInternalError( QV_HERE, "the disk is on fire" );
            }
        };
    }

    void run( std::uint64_t seed ) {
        const long nbRounds = scaledCount( 100 );
        std::mt19937_64 random( seed );
        for( long i = 0; i < nbRounds; ++i ) {
            Tile& first = pick( random );
            Tile& second = pick( random );
            try {
                pick( random ).buffer.prefetch();
                if( &first != &second ) {
                    const std::scoped_lock both( first.mutex, second.mutex );
                    copy( first, second );
                }
                first.buffer.asyncSync();
                pick( random ).buffer.asyncSync();
            } catch( const ExInternalError& ) {
                // Of this tile or of a victim.
            }
        }
    }

    void check() {
        _isFailing = false;
        for( const Tile& tile : _all ) {
            EXPECT_TRUE( tile.value == 0 || TestTiles::isFilledWith( tile.buffer, tile.value ) );
        }
    }

private:
    struct Tile {
        MbBuffer buffer;
        std::mutex mutex;
        /// 0 as long as nobody has written to it.
        char value = 0;
    };

    Tile& pick( std::mt19937_64& random ) { return _all[random() % _all.size()]; }

    /// Holds one tile while it waits for the other.
    void copy( Tile& from, Tile& to ) {
        const MbBufferRdGuardImp reader( from.buffer );
        const auto* const bytes = static_cast<const char*>( reader.getMemory() );
        const auto last = static_cast<std::size_t>( TestTiles::SIZE - 1 );
        if( from.value != 0 ) {
            EXPECT_TRUE( bytes[0] == from.value && bytes[last] == from.value );
        }
        const char value = static_cast<char>( 1 + from.value % 100 );
        MbBuffer buffer = to.buffer;
        TestTiles::fill( buffer, value );
        to.value = value;
    }

    std::atomic<bool> _isFailing = true;
    std::atomic<unsigned int> _nbTransfers = 0;
    FailingStore _server;
    TestTiles _tiles;
    std::deque<Tile> _all;
};

TEST( TiLivenessTest, RoomForTwoTilesAThreadIsEnoughWhateverIsUnderWay ) {
    const CtEngineOptions engines[] = { { 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 1 }, { 4, 2, 2 } };
    const std::uint64_t seed = testSeed();
    for( const CtEngineOptions& options : engines ) {
        for( const unsigned int nbThreads : { 1U, 2U, 5U } ) {
            Traffic traffic( options, nbThreads );
            TestThreads( nbThreads, [&]( unsigned int i ) { traffic.run( seed + i ); } ).join();
            traffic.check();
        }
    }
}

TEST( TiLivenessTest, FullQueueHoldsUpWhoFillsItAndNobodyElse ) {
    constexpr int MOST_QUEUED = 100;
    FailingStore server( { 0, 1, 1 } );
    TestTiles tiles( server, MOST_QUEUED + 10 );
    HoldPoint worker( "worker" );
    std::vector<MbBuffer> all;
    for( int i = 0; i < MOST_QUEUED + 2; ++i ) {
        all.push_back( tiles.make() );
        TestTiles::fill( all.back(), 'x' );
    }
    server.onTransfer = [&]( const CtPxTileId& tile ) {
        if( tile.getSerialId() == CtSerialId( 1 ) ) {
            worker.pass();
        }
    };
    all[0].asyncSync();
    worker.waitUntilReached();
    TestThread filler( [&] {
        for( MbBuffer& tile : all ) {
            tile.asyncSync();
        }
    } );
    filler.waitUntilBlocked();
    MbBuffer other = tiles.make();
    TestTiles::fill( other, 'y' );
    other.sync();
    EXPECT_FALSE( filler.isDone() );
    worker.release();
    filler.join();
    all.clear();
    EXPECT_EQ( tiles.getCounts().nbSaves, static_cast<unsigned>( MOST_QUEUED + 3 ) );
}

} // namespace
} // namespace Qv
