#include <resmgt/threads/test/priorityShortGraph.h>
#include <resmgt/threads/test/tracedText.h>
#include <tests/support/dumpOf.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <array>
#include <list>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Graph = ShortGraph<>;

TEST( PriorityClientsTest, ClientsGetAllValuesThatHold ) {
    RecordingUpdate a;
    RecordingUpdate b;
    Graph graph;
    graph.addNode( 'A', Priority::NOT_SET, &a );
    graph.addNode( 'B', 3, &b );
    EXPECT_THAT( a.takeValues(), ElementsAre( 0 ) );
    EXPECT_THAT( b.takeValues(), ElementsAre( 3 ) );
    graph.addNode( 'C' );
    graph.add( "B<=A" );
    EXPECT_THAT( a.takeValues(), ElementsAre( 3 ) );
    EXPECT_THAT( b.takeValues(), ElementsAre( 3 ) );
    raisedBy( [&] { graph.add( "A==B" ); } );
    raisedBy( [&] { graph.add( "A<B" ); } );
    EXPECT_THAT( a.takeValues(), IsEmpty() );
    const Priority copy( graph.node( 'B' ) );
    EXPECT_TRUE( copy.isPriorityFixed() );
    EXPECT_THAT( b.takeValues(), ElementsAre( 3 ) );
    const Priority freeCopy( graph.node( 'A' ) );
    EXPECT_EQ( freeCopy.getPriority(), 0 );
    EXPECT_THAT( a.takeValues(), ElementsAre( 0 ) );
    graph.release( "B<=A" );
    EXPECT_THAT( a.takeValues(), ElementsAre( 0, 0 ) );
    EXPECT_THAT( b.takeValues(), ElementsAre( 3, 3 ) );
}

TEST( PriorityClientsTest, AClientThatRaisesKeepsNoOtherFromItsValue ) {
    std::list<RecordingUpdate> clients;
    Graph graph;
    for( const char name : { 'A', 'B', 'C', 'D' } ) {
        graph.addNode( name, Priority::NOT_SET, &clients.emplace_back() );
    }
    graph.addAll( "A<B C<=D" );
    RecordingUpdate& refusing = *std::next( clients.begin() );
    refusing.action = []( int prio ) {
        if( prio == 2 ) {
            throw std::runtime_error( "not 2" );
        }
    };
    const auto take = [&] {
        std::vector<std::vector<int>> values;
        for( RecordingUpdate& client : clients ) {
            values.push_back( client.takeValues() );
        }
        return values;
    };
    take();
    const std::string before = dumpOf( graph.mgr );
    EXPECT_EQ( raisedBy( [&] { graph.add( "D<A" ); } ), "not 2" );
    EXPECT_EQ( dumpOf( graph.mgr ), before );
    EXPECT_THAT( take(), ElementsAre( ElementsAre( 1, 0 ), ElementsAre( 2, 1 ), ElementsAre( 0, 0 ),
                                      ElementsAre( 0, 0 ) ) );
    EXPECT_EQ( raisedBy( [&] { graph.addNode( 'E', 2, &refusing ); } ), "not 2" );
    EXPECT_EQ( dumpOf( graph.mgr ), before );
    take();
    graph.add( "D<=A" );
    PriorityRelation& atMost = graph.relation( "D<=A" );
    graph.mgr.remove( atMost );
    graph.addNode( 'E', 1 );
    graph.add( "E<=D" );
    take();
    EXPECT_EQ( raisedBy( [&] { graph.mgr.add( atMost ); } ), "not 2" );
    EXPECT_THAT( take(), ElementsAre( ElementsAre( 1 ), ElementsAre( 2 ), ElementsAre( 0 ),
                                      ElementsAre( 1 ) ) );
    EXPECT_EQ( graph.values(), "A1 B2 C0 D1 E1" );
}

TEST( PriorityClientsTest, TheFirstExceptionOfClientsIsRaisedAndTheOthersAreReported ) {
    std::array<RecordingUpdate, 3> clients;
    PriorityMgr mgr( "m", 0, 6 );
    std::array<Priority, 3> prios = { { { "0", mgr, Priority::NOT_SET, &clients[0] },
                                        { "1", mgr, Priority::NOT_SET, &clients[1] },
                                        { "2", mgr, Priority::NOT_SET, &clients[2] } } };
    for( std::size_t i = 0; i < clients.size(); ++i ) {
        clients[i].values.clear();
        clients[i].action = [i]( int ) {
            throw std::runtime_error( "client " + std::to_string( i ) );
        };
    }
    captureTrace();
    EXPECT_EQ( raisedBy( [&] { prios[0].setPriority( 0 ); } ), "client 0" );
    EXPECT_THAT( takeTrace(), AllOf( HasSubstr( "client 1" ), HasSubstr( "client 2" ) ) );
    for( const RecordingUpdate& client : clients ) {
        EXPECT_THAT( client.values, ElementsAre( 0 ) );
    }
}

TEST( PriorityClientsTest, AClientMayReadButNotChange ) {
    RecordingUpdate client;
    Graph graph( "A B", "A<B" );
    PriorityRelation& below = graph.relation( "A<B" );
    const std::function<void()> changes[] = {
        [&] { Priority( "new", graph.mgr ); },
        [&] { Priority( graph.node( 'A' ) ); },
        [&] { graph.add( "A<=B" ); },
        [&] { graph.node( 'A' ).setPriority( 1 ); },
        [&] { graph.mgr.add( graph.node( 'A' ) ); },
        [&] { graph.mgr.remove( graph.node( 'A' ) ); },
        [&] { graph.mgr.add( below ); },
        [&] { graph.mgr.remove( below ); },
    };
    std::string seen;
    client.action = [&]( int prio ) {
        graph.mgr.check();
        seen = dumpOf( graph.mgr ) + dumpOf( below ) + std::to_string( prio );
        for( const auto& change : changes ) {
            EXPECT_THAT( raisedBy( change ), HasSubstr( "!_isUpdating" ) );
        }
    };
    graph.addNode( 'C', Priority::NOT_SET, &client );
    graph.add( "B<C" );
    EXPECT_EQ( graph.values(), "A0 B1 C2" );
    EXPECT_EQ( seen, dumpOf( graph.mgr ) + dumpOf( below ) + "2" );
    client.action = {};
}

TEST( PriorityClientsTest, WhatAClientDestroysIsTakenOut ) {
    for( const char destroyed : { 'A', 'B', 'C' } ) {
        std::list<RecordingUpdate> clients;
        Graph graph( "X Y", "X<Y" );
        Priority* prio = nullptr;
        PriorityRelation* relation = nullptr;
        const auto expectRefused = []( auto*& object ) {
            EXPECT_THAT( raisedBy( [&] { delete std::exchange( object, nullptr ); } ),
                         HasSubstr( "!_isUpdating" ) );
        };
        for( const char name : { 'A', 'B', 'C' } ) {
            graph.addNode( name, Priority::NOT_SET, &clients.emplace_back( [&]( int ) {
                if( prio != nullptr ) {
                    expectRefused( prio );
                    expectRefused( relation );
                }
            } ) );
        }
        prio = graph.release( destroyed ).release();
        relation = graph.release( "X<Y" ).release();
        const auto change = [&] { graph.node( 'X' ).setPriority( 0 ); };
        change();
        EXPECT_EQ( prio, nullptr );
        EXPECT_THAT( dumpOf( graph.mgr ),
                     AllOf( Not( HasSubstr( std::string( 1, destroyed ) + " prio" ) ),
                            Not( HasSubstr( "X<Y" ) ), HasSubstr( "Y prio 1" ) ) );
        change();
        EXPECT_EQ( graph.node( 'Y' ).getPriority(), 0 );
    }
}

} // namespace
} // namespace Qv
