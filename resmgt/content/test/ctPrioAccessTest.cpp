#include <resmgt/content/src/ctPrioAccess.h>

#include <base/failure/exBase.h>
#include <resmgt/content/test/ctOrderModel.h>
#include <resmgt/content/test/ctStage.h>
#include <resmgt/locks/test/futexWaitHook.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <list>
#include <random>

namespace Qv {
namespace {

CtPxTileId tileOf( std::uint64_t id, unsigned int offset ) {
    return CtPxTileId( CtSerialId( id ), offset, 1 );
}

/// A gate whose requests come and end as a schedule says, each on a thread of its own, and the
/// model beside it.
class GateRun {
public:
    explicit GateRun( std::size_t limit )
        : _access( static_cast<int>( limit ), *_tally )
        , _model( limit, true ) {}

    const std::set<int>& getActive() const { return _model.getActive(); }

    void come( const CtPxTileId& tile ) {
        const int request = _nbCome++;
        const std::optional<int> admitted = _model.arrive( request, tile );
        _threads.emplace_back( [this, tile, request] {
            const CtPrioAccess::Pass pass( &_access, tile );
            _inside.pass( request );
        } );
        if( admitted ) {
            expectEntry( *admitted );
        } else {
            ++_nbWaits;
            spinUntil( [&] { return _tally->getCounters().nbWaits == _nbWaits; }, "a wait" );
        }
    }
    void end( int request ) {
        const std::optional<int> admitted = _model.end( request );
        _inside.release( request );
        if( admitted ) {
            expectEntry( *admitted );
        }
        std::next( _threads.begin(), request )->join();
    }
    /// The gate and the model hold the block's record until `release`.
    void demand( const CtPxTileId& tile ) {
        _model.demand( tile.getSerialId() );
        _demands.push_back( _access.demand( tile ) );
    }
    void release() {
        _model.release( CtSerialId( _demands.front().turn.serialId ) );
        _access.release( _demands.front().record );
        _demands.pop_front();
    }
    bool hasDemands() const { return !_demands.empty(); }

private:
    void expectEntry( int request ) {
        _expected.push_back( request );
        EXPECT_EQ( _inside.awaitArrivals( _expected.size() ), _expected );
    }

    const RCShdPtr<CtTally> _tally{ new CtTally };
    CtPrioAccess _access;
    OrderModel _model;
    Stage _inside;
    std::list<CtPrioAccess::Place> _demands;
    std::vector<int> _expected;
    std::uint64_t _nbWaits = 0;
    int _nbCome = 0;
    std::list<TestThread> _threads;
};

void runSchedule( std::size_t limit, const std::vector<CtPxTileId>& tiles,
                  const std::vector<int>& events ) {
    GateRun run( limit );
    auto tile = tiles.begin();
    for( const int event : events ) {
        if( event == NEXT ) {
            run.come( *tile++ );
        } else {
            run.end( *std::next( run.getActive().begin(), event ) );
        }
    }
}

TEST( CtPrioAccessTest, EveryOrderOfAFewRequestsIsThatOfTheModel ) {
    const std::vector<CtPxTileId> tiles{ tileOf( 7, 0 ), tileOf( 7, 8 ), tileOf( 3, 4 ) };
    const int nbRequests = scaledCount( 1 ) > 1 ? 4 : 3;
    for( const std::size_t limit : { 1u, 2u } ) {
        forEachSchedule( nbRequests, limit, [&]( const std::vector<int>& events ) {
            forEachChoice( tiles, nbRequests, [&]( const std::vector<CtPxTileId>& chosen ) {
                runSchedule( limit, chosen, events );
            } );
        } );
    }
}

TEST( CtPrioAccessTest, RandomTrafficIsThatOfTheModel ) {
    std::minstd_rand random( static_cast<unsigned int>( testSeed() ) );
    for( long round = scaledCount( 5 ); round > 0; --round ) {
        GateRun run( 1 + random() % 3 );
        int nbLeft = 60;
        while( nbLeft > 0 || !run.getActive().empty() || run.hasDemands() ) {
            const CtPxTileId tile = tileOf( 1 + random() % 3, random() % 2 != 0 ? 8 : 0 );
            switch( random() % 5 ) {
            case 0:
                if( nbLeft > 0 ) {
                    run.demand( tile );
                }
                break;
            case 1:
                if( run.hasDemands() ) {
                    run.release();
                }
                break;
            case 2:
            case 3:
                if( nbLeft > 0 ) {
                    --nbLeft;
                    run.come( tile );
                }
                break;
            default:
                if( !run.getActive().empty() ) {
                    run.end( *std::next(
                        run.getActive().begin(),
                        static_cast<std::ptrdiff_t>( random() % run.getActive().size() ) ) );
                }
            }
        }
    }
}

/// Two places become free while the first of two that wait can't see it yet: it has to let the
/// other one in, whether it enters itself or its wait raises.
TEST( CtPrioAccessTest, WhoComesLatePassesTheSecondPlaceOn ) {
    for( const int error : { 0, EINVAL } ) {
        const RCShdPtr<CtTally> tally( new CtTally );
        CtPrioAccess access( 2, *tally );
        Stage stage;
        HoldPoint wait( "the wait" );
        std::list<TestThread> threads;
        const auto come = [&]( std::uint64_t id ) {
            threads.emplace_back( [&access, &stage, id] {
                const CtPrioAccess::Pass pass( &access, tileOf( id, 0 ) );
                stage.pass( static_cast<int>( id ) );
            } );
        };
        const auto awaitWaits = [&]( std::uint64_t nbWaits ) {
            waitUntil( [&] { return tally->getCounters().nbWaits == nbWaits; }, "a wait" );
        };
        come( 11 );
        come( 12 );
        stage.awaitArrivals( 2 );
        TestThread late( [&] {
            const FutexWaitHook hook( wait, error );
            const CtPrioAccess::Pass pass( &access, tileOf( 9, 0 ) );
            stage.pass( 9 );
        } );
        wait.waitUntilReached();
        come( 13 );
        awaitWaits( 2 );
        stage.release( 11 );
        stage.release( 12 );
        waitUntil(
            [&] { return threads.front().isDone() && std::next( threads.begin() )->isDone(); },
            "the two that were inside" );
        wait.release();
        stage.awaitArrivals( error == 0 ? 4 : 3 );
        if( error != 0 ) {
            EXPECT_NE( raisedBy<ExBase>( [&] { late.join(); } ), "" );
            // It has left no record: now its block has been asked for later than another.
            come( 14 );
            stage.awaitArrivals( 4 );
            come( 15 );
            awaitWaits( 3 );
            come( 9 );
            awaitWaits( 4 );
            stage.release( 14 );
            EXPECT_EQ( stage.awaitArrivals( 5 ).back(), 15 );
        }
        stage.open();
        threads.clear();
    }
}

} // namespace
} // namespace Qv
