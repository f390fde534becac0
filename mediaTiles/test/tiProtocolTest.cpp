#include <mediaTiles/tiProtocol.h>

#include <mediaTiles/test/tiTestStore.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>

#include <gtest/gtest.h>

namespace Qv {
namespace {

/// A tile in a memory with room for one, and what is done with it: (w)rite, (r)ead, (s)ync,
/// (a)syncSync, (p)refetch, (f)ree, and (e)viction.
class OneTile {
public:
    explicit OneTile( const CtEngineOptions& options )
        : server( options ) {}

    void perform( const std::string& steps ) {
        for( const char step : steps ) {
            perform( step );
        }
    }

    FailingStore server;
    TestTiles tiles{ server, 1 };
    MbBuffer tile = tiles.make();

private:
    void perform( char step ) {
        switch( step ) {
        case 'w':
            TestTiles::fill( tile, static_cast<char>( _value + 1 ) );
            ++_value;
            return;
        case 'r':
            EXPECT_TRUE( _value == 'A' || TestTiles::isFilledWith( tile, _value ) );
            return;
        case 's':
            return tile.sync();
        case 'a':
            return tile.asyncSync();
        case 'p':
            return tile.prefetch();
        case 'f':
            _value = 'A';
            return tile.free();
        case 'e':
            return TestTiles::lock( _other );
        default:
            FAIL() << step;
        }
    }

    const MbBuffer _other = tiles.make();
    /// 'A' as long as the content isn't defined.
    char _value = 'A';
};

const CtEngineOptions withWorkers;
const CtEngineOptions withoutWorkers{ 0, 0, 0 };

TEST( TiProtocolTest, TileIsWrittenWhenItHasChangedAndReadWhenItIsMissing ) {
    const struct {
        const char* steps;
        unsigned nbSaves;
        unsigned nbReloads;
        unsigned nbPrefetches;
        unsigned nbBlocks;
    } cases[] = {
        { "wer", 1, 1, 0, 1 },      { "wererer", 1, 3, 0, 1 }, { "werwerer", 2, 3, 0, 1 },
        { "wsrer", 1, 1, 0, 1 },    { "wswrer", 2, 1, 0, 1 },  { "warer", 1, 1, 0, 1 },
        { "waswaser", 2, 1, 0, 1 }, { "wepr", 1, 1, 1, 1 },    { "wepepr", 1, 2, 2, 1 },
        { "wpapr", 1, 0, 0, 1 },    { "wepwer", 2, 2, 1, 1 },  { "rer", 0, 0, 0, 0 },
        { "rasepr", 0, 0, 0, 0 },   { "pr", 0, 0, 0, 0 },      { "wefrer", 1, 0, 0, 1 },
        { "wefpr", 1, 0, 0, 1 },    { "wafwer", 2, 1, 0, 1 },  { "werfwerer", 2, 3, 0, 1 },
        { "wefwerer", 2, 2, 0, 1 }, { "wff", 0, 0, 0, 0 } };
    for( const CtEngineOptions& options : { withWorkers, withoutWorkers } ) {
        for( const auto& c : cases ) {
            SCOPED_TRACE( c.steps );
            OneTile one( options );
            one.perform( c.steps );
            // Behind the end of what may be under way.
            one.perform( "e" );
            const TiCounts counts = one.tiles.getCounts();
            EXPECT_EQ( counts.nbSaves, c.nbSaves );
            EXPECT_EQ( counts.nbReloads, c.nbReloads );
            EXPECT_EQ( counts.nbPrefetches, c.nbPrefetches );
            EXPECT_EQ( one.server.getCounters().nbWrites, c.nbSaves );
            EXPECT_EQ( one.server.getCounters().nbReads, c.nbReloads );
            EXPECT_EQ( one.server.getNbSerialIds(), c.nbBlocks );
        }
    }
}

TEST( TiProtocolTest, FailureIsRaisedByTheNextLockOrEvictionAndNothingIsLost ) {
    const struct {
        const char* before;
        /// Without a failure that comes out.
        const char* ahead;
        const char* raises;
        const char* after;
        unsigned nbSaves;
        int calls;
    } cases[] = {
        { "we", "pp", "r", "rer", 1, FailingStore::OPEN },
        { "we", "pp", "r", "prer", 1, FailingStore::TRANSFER },
        { "we", "", "w", "rer", 1, FailingStore::TRANSFER },
        { "w", "aa", "e", "rer", 1, FailingStore::CREATE },
        { "w", "aa", "e", "arer", 1, FailingStore::OPEN },
        { "w", "aa", "e", "rer", 1, FailingStore::TRANSFER },
        { "w", "a", "s", "srer", 1, FailingStore::TRANSFER },
        { "werw", "aa", "e", "rer", 2, FailingStore::TRANSFER },
        { "werw", "", "s", "ferer", 1, FailingStore::CREATE | FailingStore::TRANSFER },
    };
    for( const CtEngineOptions& options : { withWorkers, withoutWorkers } ) {
        for( const auto& c : cases ) {
            SCOPED_TRACE( std::string( c.before ) + c.ahead + c.raises + c.after );
            OneTile one( options );
            one.perform( c.before );
            one.server.failing = c.calls;
            EXPECT_NO_THROW( one.perform( c.ahead ) );
            for( int i = 0; i < 2; ++i ) {
                EXPECT_EQ( raisedBy( [&] { one.perform( c.raises ); } ), "the disk is on fire" );
            }
            one.server.failing = FailingStore::NOTHING;
            one.perform( c.after );
            EXPECT_EQ( one.tiles.getCounts().nbSaves, c.nbSaves );
            // A block that couldn't be written is gone.
            EXPECT_LE( one.server.getNbSerialIds(), 1U );
        }
    }
}

TEST( TiProtocolTest, HintOfAFailedReadIsNotUsedAgain ) {
    for( const CtEngineOptions& options : { withWorkers, withoutWorkers } ) {
        for( const char* const reads : { "r", "p" } ) {
            SCOPED_TRACE( reads );
            OneTile one( options );
            one.perform( "we" );
            one.server.failing = FailingStore::TRANSFER;
            try {
                one.perform( reads );
            } catch( const ExInternalError& ) {}
            one.server.blockUntilProcessed();
            one.server.failing = FailingStore::NOTHING;
            const int nbOpened = one.server.nbOpened;
            one.perform( "r" );
            EXPECT_EQ( one.server.nbOpened, nbOpened + 1 );
        }
    }
}

TEST( TiProtocolTest, ProtocolThatComesToContentSavesIt ) {
    FailingStore first;
    FailingStore second;
    TestTiles tiles( first, 1 );
    MbBuffer tile = tiles.make();
    TestTiles::fill( tile, 'x' );
    tile.sync();
    {
        const RCShdPtr<TiStore> store( new TiStore( second ) );
        MbBufferRdGuardImp guard( tile );
        guard.setProtocol( OPtr<MbProtocol>( new TiProtocol( store ) ) );
    }
    TestTiles::lock( tiles.make() );
    EXPECT_TRUE( TestTiles::isFilledWith( tile, 'x' ) );
    EXPECT_EQ( second.getCounters().nbReads, 1U );
}

TEST( TiProtocolTest, SaveThatADerivedClassRefusesIsDoneAgain ) {
    class Refusing : public TiProtocol {
    public:
        using TiProtocol::TiProtocol;
        void asyncSyncSucceeded() override {
            TiProtocol::asyncSyncSucceeded();
            throw ExInternalError( QV_HERE, "not like that" );
        }
    };
    FailingStore server;
    TestTiles tiles( server, 1 );
    MbBuffer tile = tiles.make();
    {
        const RCShdPtr<TiStore> store( new TiStore( server ) );
        MbBufferWrGuardImp guard( tile );
        guard.setProtocol( OPtr<MbProtocol>( new Refusing( store ) ) );
    }
    TestTiles::fill( tile, 'x' );
    HoldPoint transfer( "transfer" );
    server.onTransfer = [&]( const CtPxTileId& ) { transfer.pass(); };
    tile.asyncSync();
    transfer.release();
    TestTiles::lock( tiles.make() );
    EXPECT_TRUE( TestTiles::isFilledWith( tile, 'x' ) );
}

TEST( TiProtocolTest, ContentThatADerivedClassMakesIsMadeAgain ) {
    class Made : public TiProtocol {
    public:
        using TiProtocol::TiProtocol;
        void load( void* memory, unsigned long long size ) override {
            TiProtocol::load( memory, size );
            if( mustFail ) {
                throw ExInternalError( QV_HERE, "nothing to make it of" );
            }
            std::memset( memory, 'm', size );
        }
        bool mustFail = false;
    };
    FailingStore server;
    const RCShdPtr<TiStore> store( new TiStore( server ) );
    TestTiles tiles( server, 1 );
    MbBuffer tile = tiles.make();
    auto* const made = new Made( store );
    {
        MbBufferWrGuardImp guard( tile );
        guard.setProtocol( OPtr<MbProtocol>( made ) );
    }
    tile.free();
    for( const bool isAhead : { true, false } ) {
        for( int i = 0; i < 2; ++i ) {
            made->mustFail = true;
            if( isAhead ) {
                EXPECT_NO_THROW( tile.prefetch() );
            }
            EXPECT_EQ( raisedBy( [&] { TestTiles::lock( tile ); } ), "nothing to make it of" );
            made->mustFail = false;
            if( isAhead ) {
                tile.prefetch();
            }
            EXPECT_TRUE( TestTiles::isFilledWith( tile, 'm' ) );
            TestTiles::lock( tiles.make() );
        }
        tile.free();
    }
    EXPECT_EQ( server.getNbSerialIds(), 0U );
    EXPECT_EQ( store->getCounts().nbReloads, 0U );
}

} // namespace
} // namespace Qv
