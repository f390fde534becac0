#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/priorityEx.h>
#include <resmgt/threads/test/priorityShortGraph.h>
#include <resmgt/threads/test/tracedText.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <array>
#include <climits>
#include <deque>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Graph = ShortGraph<>;

constexpr const char* CYCLE = "rel._rhs.findDependantRecNoLock( &rel._lhs ) == 0";
constexpr const char* PUSHED = "minPrio <= prio->_prio";
constexpr const char* TOO_HIGH = "minPrio <= _maxPrio";
constexpr const char* OUTSIDE = "_minPrio <= prio && prio <= _maxPrio";

std::string dumpOf( const Priority& prio ) {
    std::ostringstream stream;
    prio.dump( stream, true );
    return stream.str();
}

TEST( PriorityGraphTest, EachNodeHasTheLowestValueThatSatisfiesAllRelations ) {
    const struct {
        const char* nodes;
        const char* relations;
        const char* values;
        int minPrio = 0;
        int maxPrio = 6;
    } cases[] = {
        { "A", "", "A0" },
        { "A B C", "A<B B<C", "A0 B1 C2" },
        { "A B", "A<=B", "A0 B0" },
        { "A B", "A<B A<=B", "A0 B1" },
        { "A3 B", "A<=B", "A3 B3" },
        { "A1 X B6", "A<X X<B", "A1 B6 X2" },
        { "A B C D E", "A==B C<A D<B D<E E<B", "A2 B2 C0 D0 E1" },
        { "A4 B C D", "A==B B<C D<B", "A4 B4 C5 D0" },
        { "A B C D E", "A==B B==C D<A C<E", "A1 B1 C1 D0 E2" },
        { "A B C3", "A==B B==C C==A", "A3 B3 C3" },
        { "A3 B3 C", "A==B B<=C", "A3 B3 C3" },
        { "A B C D", "A<B A<C B<D C<D A<D", "A0 B1 C1 D2" },
        { "A0 B0", "A<=B A==B", "A0 B0" },
        { "A B", "A<B", "A10 B11", 10, 20 },
        { "A B C", "A<B B<C", "A-1 B0 C1", -1, 1 },
        { "A B-3 C", "A<B B<C", "A-10 B-3 C-2", -10, -2 },
        { "A B", "A<B", "A2147483645 B2147483646", INT_MAX - 2, INT_MAX - 1 },
        { "A B", "A<B", "A-2147483647 B-2147483646", INT_MIN + 1, INT_MIN + 2 },
    };
    for( const auto& c : cases ) {
        const Graph graph( c.nodes, c.relations, c.minPrio, c.maxPrio );
        EXPECT_EQ( graph.values(), c.values ) << c.relations;
    }
}

TEST( PriorityGraphTest, ARelationWhoseConstructorRaisesLeavesTheGraphAsItWas ) {
    const struct {
        const char* nodes;
        const char* relations;
        const char* added;
        const char* text;
    } cases[] = {
        { "A3 B1", "", "A<=B", PUSHED },
        { "A3 B3", "", "A<B", PUSHED },
        { "A B2 C D E F", "A==B C<D D<E E<F", "F<=A", PUSHED },
        { "A B C D E F G H", "A<B B<C C<D D<E E<F F<G", "G<H", TOO_HIGH },
        { "A6 B", "", "A<B", TOO_HIGH },
        { "A B", "A<B", "B<=A", CYCLE },
        { "A B C", "A<=B B<=C", "C<=A", CYCLE },
        { "A B", "A<B", "B==A", CYCLE },
        { "A", "", "A<=A", CYCLE },
        { "A", "", "A==A", CYCLE },
        { "A3 B5", "", "A==B", R"(Relation "A==B" invalid: "A" (3) == "B" (5))" },
        { "A5 B3", "", "A==B", R"(Relation "A==B" invalid: "A" (5) == "B" (3))" },
        // Cycles through equal nodes; which relation fails first depends on addresses.
        { "A B", "A<B", "A==B", R"( invalid: "A" (0) )" },
        { "A B C", "A<=B B==C", "C<=A", R"( invalid: ")" },
        { "A B C D E", "A<=B C<=D B==C D<E", "D==A", R"( invalid: ")" },
    };
    for( const auto& c : cases ) {
        Graph graph( c.nodes, c.relations );
        const std::string before = dumpOf( graph.mgr );
        EXPECT_THAT( raisedBy( [&] { graph.add( c.added ); } ), HasSubstr( c.text ) ) << c.added;
        EXPECT_EQ( dumpOf( graph.mgr ), before ) << c.added;
        EXPECT_EQ( graph.mgr.check(), PriorityMgr::NONE ) << c.added;
    }
}

TEST( PriorityGraphTest, NodesSinkWhenARelationGoes ) {
    Graph graph( "A B C D", "A<B B<C C==D" );
    EXPECT_EQ( graph.values(), "A0 B1 C2 D2" );
    graph.release( "B<C" );
    EXPECT_EQ( graph.values(), "A0 B1 C0 D0" );
    graph.add( "B<D" );
    EXPECT_EQ( graph.values(), "A0 B1 C2 D2" );
    graph.release( "C==D" );
    EXPECT_EQ( graph.values(), "A0 B1 C0 D2" );
}

TEST( PriorityGraphTest, OnlyFixedNodesCanBeSet ) {
    Graph graph( "A1 B C D4", "A<B B<=D" );
    graph.node( 'B' ).setPriority( 6 );
    EXPECT_EQ( graph.values(), "A1 B2 C0 D4" );
    graph.node( 'A' ).setPriority( 3 );
    EXPECT_EQ( graph.values(), "A3 B4 C0 D4" );
    const struct {
        int value;
        const char* text;
    } refused[] = { { 4, PUSHED }, { 7, OUTSIDE }, { -1, OUTSIDE } };
    for( const auto& c : refused ) {
        EXPECT_THAT( raisedBy( [&] { graph.node( 'A' ).setPriority( c.value ); } ),
                     HasSubstr( c.text ) );
        EXPECT_EQ( graph.values(), "A3 B4 C0 D4" ) << c.value;
    }
    Graph around( "A2", "", -5, 5 );
    EXPECT_THAT( raisedBy( [&] { around.node( 'A' ).setPriority( Priority::NOT_SET ); } ),
                 HasSubstr( "prio != Priority::NOT_SET" ) );
}

TEST( PriorityGraphTest, WhatIsHandedToTheManagerStaysAlsoWhereItRaises ) {
    const char* const unequal = R"(Relation "A==B" invalid: "A" (3) == "B" (5))";
    Graph graph( "A3 B3", "A==B" );
    PriorityRelation& equal = graph.relation( "A==B" );
    graph.mgr.remove( equal );
    graph.mgr.remove( equal );
    graph.node( 'B' ).setPriority( 5 );
    EXPECT_EQ( graph.values(), "A3 B5" );
    EXPECT_EQ( raisedBy<PriorityEx>( [&] { graph.mgr.add( equal ); } ), unequal );
    EXPECT_EQ( graph.mgr.check(), PriorityMgr::RELATION_INVALID );
    EXPECT_FALSE( equal.check() );
    EXPECT_THAT( raisedBy( [&] { graph.mgr.add( equal ); } ),
                 HasSubstr( "_relations.insert( &rel ).second" ) );
    EXPECT_EQ( raisedBy<PriorityEx>( [&] { graph.node( 'B' ).setPriority( 5 ); } ), unequal );
    EXPECT_THAT( raisedBy( [&] { graph.node( 'A' ).setPriority( 4 ); } ),
                 HasSubstr( R"("A" (4) == "B" (5))" ) );
    graph.node( 'B' ).setPriority( 4 );
    EXPECT_EQ( graph.values(), "A4 B4" );
    EXPECT_EQ( graph.mgr.check(), PriorityMgr::NONE );
}

TEST( PriorityGraphTest, ARelationThatIsHandedOverStaysAfterAnAssertionWithTheFormerValues ) {
    Graph graph( "A B C1 D", "A<B B<=C" );
    graph.mgr.remove( graph.relation( "B<=C" ) );
    graph.add( "D<A" );
    EXPECT_THAT( raisedBy( [&] { graph.mgr.add( graph.relation( "B<=C" ) ); } ),
                 HasSubstr( PUSHED ) );
    EXPECT_EQ( graph.values(), "A1 B2 C1 D0" );
    EXPECT_EQ( graph.mgr.check(), PriorityMgr::RELATION_INVALID );
    graph.release( "D<A" );
    EXPECT_EQ( graph.values(), "A0 B1 C1 D0" );
}

TEST( PriorityGraphTest, ANodeCanBeTakenOutForATime ) {
    Graph graph( "A B C", "A<B" );
    Graph other( "X" );
    PriorityMgr& mgr = graph.mgr;
    const auto use = [&]( char lhs, char rhs ) {
        PriorityRelation( "r", graph.node( lhs ), PriorityRelation::LESS, graph.node( rhs ) );
    };
    mgr.remove( graph.node( 'C' ) );
    const std::pair<std::function<void()>, const char*> refused[] = {
        { [&] { mgr.remove( graph.node( 'A' ) ); }, "used by rel. \"A<B\"" },
        { [&] { mgr.remove( graph.node( 'B' ) ); }, "_leafPrios.erase( &prio ) == 1" },
        { [&] { mgr.remove( graph.node( 'C' ) ); }, "_prios.erase( &prio ) == 1" },
        { [&] { mgr.add( graph.node( 'A' ) ); }, "_prios.insert( &prio ).second" },
        { [&] { use( 'A', 'C' ); }, "_prios.count( &rel.getLhs() ) == 1" },
        { [&] { use( 'C', 'A' ); }, "_prios.count( &rel.getLhs() ) == 1" },
        { [&] { mgr.add( other.node( 'X' ) ); }, "&prio.getMgr() == this" },
        { [&] { mgr.remove( other.node( 'X' ) ); }, "&prio.getMgr() == this" },
        { [&] { other.mgr.add( graph.relation( "A<B" ) ); }, "&rel.getLhs().getMgr() == this" },
        { [&] { other.mgr.remove( graph.relation( "A<B" ) ); }, "&rel.getLhs().getMgr() == this" },
    };
    const std::string before = dumpOf( mgr );
    for( const auto& [body, text] : refused ) {
        EXPECT_THAT( raisedBy( body ), HasSubstr( text ) );
        EXPECT_EQ( dumpOf( mgr ), before ) << text;
    }
    EXPECT_THAT( before, Not( HasSubstr( "C prio" ) ) );
    mgr.add( graph.node( 'C' ) );
    graph.add( "B<C" );
    EXPECT_EQ( graph.values(), "A0 B1 C2" );
}

/// Destroys the priority, with what that raises.
void destroy( OPtr<Priority> prio ) {
    delete prio.release();
}

TEST( PriorityGraphTest, TheRecordOfAPriorityThatEndsTooEarlyStaysUntilItsLastRelationGoes ) {
    RecordingUpdate client;
    Graph graph( "A C" );
    graph.addNode( 'B', Priority::NOT_SET, &client );
    graph.addAll( "A<B B<C" );
    client.values.clear();
    EXPECT_EQ( raisedBy<PriorityEx::ExPriorityInUse>( [&] { destroy( graph.release( 'B' ) ); } ),
               R"(Attempt to delete priority "B": used by rel. "B<C" (with other pri. "C"))" );
    graph.add( "A<=C" );
    EXPECT_EQ( graph.values(), "A0 C2" );
    EXPECT_THAT( client.values, IsEmpty() );
    const PriorityRelation& below = graph.relation( "B<C" );
    EXPECT_EQ( dumpOf( below ), "\"B<C\"      : B (    1 ) <  C (    2 ) valid\n" );
    EXPECT_EQ( &below.getRhs(), &graph.node( 'C' ) );
    EXPECT_THAT( raisedBy( [&] { below.getLhs(); } ), HasSubstr( "has not ended" ) );
    graph.release( "A<B" );
    EXPECT_EQ( graph.values(), "A0 C1" );
    EXPECT_THAT( dumpOf( graph.mgr ), HasSubstr( "B prio" ) );
    graph.release( "B<C" );
    EXPECT_EQ( graph.values(), "A0 C0" );
    EXPECT_THAT( dumpOf( graph.mgr ), Not( HasSubstr( "B prio" ) ) );
}

TEST( PriorityGraphTest, APriorityMayStandWhereOneEndedTooEarly ) {
    Graph graph( "A" );
    alignas( Priority ) std::byte place[sizeof( Priority )];
    auto* prio = new( place ) Priority( "first", graph.mgr );
    std::optional<PriorityRelation> equal( std::in_place, "equal", *prio, PriorityRelation::EQUAL,
                                           graph.node( 'A' ) );
    EXPECT_EQ(
        raisedBy( [&] { prio->~Priority(); } ),
        R"(Attempt to delete priority "first": used by rel. "equal" (with other pri. "A"))" );
    prio = new( place ) Priority( "second", graph.mgr );
    EXPECT_FALSE( equal->uses( *prio ) );
    const PriorityRelation below( "below", graph.node( 'A' ), PriorityRelation::LESS, *prio );
    EXPECT_EQ( prio->getPriority(), 1 );
    equal.reset();
    EXPECT_EQ(
        raisedBy( [&] { prio->~Priority(); } ),
        R"(Attempt to delete priority "second": used by rel. "below" (with other pri. "A"))" );
}

TEST( PriorityGraphTest, DestructorsReportDuringUnwindingAndInOwners ) {
    Graph graph( "A B", "A<B" );
    captureTrace();
    std::optional<PriorityRelation> below;
    EXPECT_EQ( raisedBy( [&] {
                   Priority local( "local", graph.mgr );
                   below.emplace( "below", local, PriorityRelation::LESS, graph.node( 'A' ) );
                   throw std::runtime_error( "unwinding" );
               } ),
               "unwinding" );
    graph.release( 'B' );
    const std::string reported = takeTrace();
    EXPECT_THAT( reported, HasSubstr( R"(Attempt to delete priority "local")" ) );
    EXPECT_THAT( reported, HasSubstr( R"(Attempt to delete priority "B")" ) );
}

/// A manager whose computation and errors can be switched off.
class LooseMgr : public PriorityMgr {
public:
    using PriorityMgr::PriorityMgr;

    void performUpdate() override QV_REQUIRES( getLock() ) {
        if( isComputing ) {
            PriorityMgr::performUpdate();
        }
        if( isRaising ) {
            throw std::runtime_error( "performUpdate" );
        }
    }
    void updateError( Error error ) override QV_REQUIRES( getLock() ) {
        if( !isTolerant ) {
            PriorityMgr::updateError( error );
        }
    }
    void raiseError( Error error ) {
        const LkGuard<const LkLock> guard( getLock() );
        updateError( error );
    }
    std::size_t countPrios() const {
        const LkGuard<const LkLock> guard( getLock() );
        return getPriosNoLock().size();
    }

    bool isComputing = true;
    bool isTolerant = false;
    bool isRaising = false;
};

TEST( PriorityGraphTest, DerivedManagersDecideOnComputationAndErrors ) {
    RecordingUpdate client;
    ShortGraph<LooseMgr> graph( "A B3 C5", "" );
    graph.addNode( 'D', Priority::NOT_SET, &client );
    client.values.clear();
    for( const bool isComputing : { true, false } ) {
        graph.mgr.isComputing = isComputing;
        graph.mgr.isRaising = true;
        EXPECT_EQ( raisedBy( [&] { graph.add( "B<D" ); } ), "performUpdate" );
        EXPECT_EQ( raisedBy( [&] { graph.node( 'B' ).setPriority( 4 ); } ), "performUpdate" );
        EXPECT_EQ( graph.values(), "A0 B3 C5 D0" ) << isComputing;
    }
    graph.mgr.isComputing = true;
    graph.mgr.isRaising = false;
    graph.mgr.isTolerant = true;
    graph.addAll( "B==C B<D" );
    EXPECT_EQ( graph.mgr.check(), PriorityMgr::RELATION_INVALID );
    EXPECT_THAT( client.values, IsEmpty() );
    EXPECT_EQ( graph.mgr.countPrios(), 4u );
    graph.mgr.isTolerant = false;
    EXPECT_THAT( raisedBy( [&] { graph.mgr.raiseError( PriorityMgr::RELATION_INVALID ); } ),
                 StartsWith( R"(Relation "B==C" invalid: "B" (3) == "C" (5))" ) );
    for( const auto error : { PriorityMgr::NONE, static_cast<PriorityMgr::Error>( 2 ) } ) {
        EXPECT_NE( raisedBy<ExProgramAborted>( [&] { graph.mgr.raiseError( error ); } ), "" );
    }
    graph.mgr.isTolerant = true;
}

TEST( PriorityGraphTest, NoRelationHasFailedOnceTheOneAtFaultIsTakenBack ) {
    LooseMgr mgr( "m", 0, 6 );
    Priority low( "low", mgr );
    Priority high( "high", mgr );
    std::array<std::optional<PriorityRelation>, 2> relations;
    relations[0].emplace( "first", low, PriorityRelation::LESS, high );
    EXPECT_THAT(
        raisedBy( [&] { relations[1].emplace( "fault", low, PriorityRelation::EQUAL, high ); } ),
        StartsWith( "Relation \"first\" invalid" ) );
    EXPECT_THAT( raisedBy( [&] { mgr.raiseError( PriorityMgr::RELATION_INVALID ); } ),
                 HasSubstr( "_failedRelation != 0" ) );
}

/// Nodes in a row, each related to the next, in a manager that computes once the row is complete.
/// Its first relation never holds, so that looking for one that doesn't costs nothing meanwhile.
class LongRow {
public:
    static constexpr int NB_NODES = 100'000;

    explicit LongRow( PriorityRelation::Relation relation )
        : _mgr( "row", 0, NB_NODES )
        , _unequal{ { { "3", _mgr, 3 }, { "5", _mgr, 5 } } }
        , _relations( NB_NODES ) {
        setComputing( false );
        for( int i = 0; i < NB_NODES; ++i ) {
            _nodes.emplace_back( "node", _mgr );
        }
        for( std::size_t i = 1; i < NB_NODES; ++i ) {
            _relations[i].emplace( "relation", _nodes[i - 1], relation, _nodes[i] );
        }
        setComputing( true );
    }
    ~LongRow() {
        setComputing( false );
        // The one that doesn't hold goes last.
        while( !_relations.empty() ) {
            _relations.pop_back();
        }
    }

    Priority& first() { return _nodes.front(); }
    Priority& last() { return _nodes.back(); }

private:
    void setComputing( bool isComputing ) {
        _mgr.isComputing = isComputing;
        _mgr.isTolerant = !isComputing;
        if( isComputing ) {
            _relations[0].reset();
        } else {
            _relations[0].emplace( "unequal", _unequal[0], PriorityRelation::EQUAL, _unequal[1] );
        }
    }

    LooseMgr _mgr;
    std::array<Priority, 2> _unequal;
    std::deque<Priority> _nodes;
    std::vector<std::optional<PriorityRelation>> _relations;
};

TEST( PriorityGraphTest, LongRowsNeedNoDeepStack ) {
    LongRow less( PriorityRelation::LESS );
    EXPECT_EQ( less.last().getPriority(), LongRow::NB_NODES - 1 );
    EXPECT_THAT( raisedBy( [&] {
                     PriorityRelation( "cycle", less.last(), PriorityRelation::LESS, less.first() );
                 } ),
                 HasSubstr( CYCLE ) );
    EXPECT_THAT( raisedBy( [&] {
                     PriorityRelation( "cycle", less.first(), PriorityRelation::EQUAL,
                                       less.last() );
                 } ),
                 HasSubstr( "Relation \"" ) );
    EXPECT_EQ( less.last().getPriority(), LongRow::NB_NODES - 1 );

    LongRow equal( PriorityRelation::EQUAL );
    Priority seven( "seven", equal.first().getMgr(), 7 );
    const PriorityRelation below( "below", seven, PriorityRelation::LESS, equal.first() );
    EXPECT_EQ( equal.last().getPriority(), 8 );
}

TEST( PriorityGraphTest, TheWalkForCyclesVisitsEachNodeOnce ) {
    constexpr std::size_t NB_RUNGS = 60;
    PriorityMgr mgr( "ladder", 0, 100 );
    std::deque<Priority> left;
    std::deque<Priority> right;
    std::deque<PriorityRelation> relations;
    const auto relate = [&]( Priority& lhs, Priority& rhs ) {
        relations.emplace_back( "rung", lhs, PriorityRelation::LESS, rhs );
    };
    for( std::size_t i = 0; i < NB_RUNGS; ++i ) {
        left.emplace_front( "left", mgr );
        right.emplace_front( "right", mgr );
        if( i != 0 ) {
            relate( left[0], left[1] );
            relate( left[0], right[1] );
            relate( right[0], left[1] );
            relate( right[0], right[1] );
        }
    }
    EXPECT_EQ( left.back().getPriority(), static_cast<int>( NB_RUNGS - 1 ) );
    relations.clear();
}

TEST( PriorityGraphTest, DumpsHaveOneLineEach ) {
    PriorityMgr mgr( "dumped", 0, 6000 );
    std::array<Priority, 3> prios = { { { "low", mgr }, { "high", mgr }, { "twin", mgr, 5000 } } };
    std::array<PriorityRelation, 2> relations = {
        { { "r", prios[0], PriorityRelation::LESS, prios[1] },
          { "a long name", prios[2], PriorityRelation::LESS_OR_EQUAL, prios[1] } } };
    const std::string lines[] = {
        "low prio 0 fixed 0\n",
        "high prio 5000 fixed 0\n",
        "twin prio 5000 fixed 1\n",
        "\"r\"        : low (    0 ) <  high ( 5000 ) valid\n",
        "\"a long name\" : twin ( 5000 ) <= high ( 5000 ) valid\n",
    };
    EXPECT_EQ( dumpOf( mgr ), "Priorities:\n" + lines[0] + lines[1] + lines[2] + "Independant: \n" +
                                  lines[0] + lines[2] + "Relations: \n" + lines[3] + lines[4] );
    EXPECT_EQ( dumpOf( prios[1] ),
               lines[1] + "Dependants: \nDependOns: \n" + lines[3] + lines[4] + "Equals: \n" );
    std::ostringstream brief;
    prios[0].dump( brief, false );
    EXPECT_EQ( brief.str(), lines[0] );
    mgr.remove( relations[0] );
    prios[0].setPriority( 0 );
    PriorityRelation equal( "equal", prios[0], PriorityRelation::EQUAL, prios[1] );
    EXPECT_EQ( dumpOf( prios[0] ), "low prio 5000 fixed 0\nDependants: \nDependOns: \nEquals: \n"
                                   "\"equal\"    : low ( 5000 ) == high ( 5000 ) valid\n" );
    mgr.remove( equal );
    EXPECT_EQ( dumpOf( relations[0] ), "\"r\"        : low (    0 ) <  high ( 5000 ) valid\n" );
    prios[2].setPriority( 0 );
    EXPECT_EQ( dumpOf( relations[0] ), "\"r\"        : low (    0 ) <  high (    0 ) NOT valid\n" );
}

TEST( PriorityGraphTest, MissingMemoryLeavesNothingBehind ) {
    Graph graph( "A3 B5 C D E F G", "A<D" );
    const auto change = [&]( const std::function<void()>& body ) {
        const std::string before = dumpOf( graph.mgr );
        bool isRefused = false;
        forEachFailingNew( [&] { isRefused = !raisedBy<ExBase>( body ).empty(); },
                           [&]( bool hasFailed ) {
                               ASSERT_EQ( dumpOf( graph.mgr ) == before, hasFailed || isRefused );
                           } );
    };
    change( [&] { graph.addNode( 'X', 2 ); } );
    // More and more is to be visited at a time.
    for( const char* const relation :
         { "C<B", "C<=D", "C<E", "C<F", "F==G", "F==E", "F==D", "A==B", "D<A", "B<A" } ) {
        change( [&] { graph.add( relation ); } );
    }
    EXPECT_EQ( graph.values(), "A3 B5 C0 D4 E4 F4 G4 X2" );
}

TEST( PriorityGraphTest, RemovingNeedsNoMemory ) {
    Graph graph( "A B C D", "A<B B<C A==D" );
    {
        PriorityRelation* relations[] = { graph.release( "A<B" ).release(),
                                          graph.release( "A==D" ).release() };
        Priority* const used = graph.release( 'B' ).release();
        const FailingNew failing( 0 );
        for( PriorityRelation* const relation : relations ) {
            delete relation;
        }
        try {
            delete used;
        } catch( const std::exception& ) {
            // ExPriorityInUse, or the lack of memory for its text.
        }
        graph.node( 'A' ).setPriority( 1 );
    }
    EXPECT_EQ( graph.values(), "A0 C1 D0" );
    graph.release( "B<C" );
    EXPECT_THAT( dumpOf( graph.mgr ), Not( HasSubstr( "B prio" ) ) );
}

TEST( PriorityGraphTest, RelationsComputeTheValuesOfTheirEnds ) {
    Graph graph( "A B", "A==B" );
    const struct {
        PriorityRelation::Relation relation;
        const char* text;
        int rhsOf5;
        int lhsOf5;
    } cases[] = {
        { PriorityRelation::EQUAL, "==", 5, 5 },
        { PriorityRelation::LESS, "< ", 6, 4 },
        { PriorityRelation::LESS_OR_EQUAL, "<=", 5, 5 },
    };
    graph.release( "A==B" );
    for( const auto& c : cases ) {
        const PriorityRelation one( "r", graph.node( 'A' ), c.relation, graph.node( 'B' ) );
        const PriorityRelation relation( one );
        EXPECT_STREQ( PriorityRelation::relationToString( c.relation ), c.text );
        EXPECT_TRUE( relation.isRelation( c.relation ) && relation.check() );
        EXPECT_TRUE( relation.uses( graph.node( 'A' ) ) && relation.uses( graph.node( 'B' ) ) );
        EXPECT_EQ( relation.computeRhsPriority( 5 ), c.rhsOf5 );
        EXPECT_EQ( relation.computeLhsPriority( 5 ), c.lhsOf5 );
        if( c.rhsOf5 != 5 ) {
            EXPECT_NE( raisedBy( [&] { relation.computeRhsPriority( INT_MAX ); } ), "" );
            EXPECT_NE( raisedBy( [&] { relation.computeLhsPriority( INT_MIN ); } ), "" );
        }
    }
}

TEST( PriorityGraphTest, WhatCannotBeIsRefused ) {
    Graph graph( "A B" );
    Graph other( "X" );
    const auto unknown = static_cast<PriorityRelation::Relation>( 3 );
    const std::pair<std::function<void()>, const char*> refused[] = {
        { [&] { PriorityMgr( "m", 5, 4 ); }, "minPrio <= maxPrio" },
        { [&] { PriorityMgr( "m", 0, INT_MAX ); }, "maxPrio < " },
        { [&] { PriorityMgr( "m", INT_MIN, 0 ); }, "minPrio > " },
        { [&] { Priority( "p", graph.mgr, 7 ); }, OUTSIDE },
        { [&] { Priority( "p", graph.mgr, -2 ); }, OUTSIDE },
        { [&] {
             PriorityRelation( "r", graph.node( 'A' ), PriorityRelation::LESS, other.node( 'X' ) );
         },
          "&_lhs.getMgr() == &_rhs.getMgr()" },
    };
    const std::string before = dumpOf( graph.mgr );
    for( const auto& [body, text] : refused ) {
        EXPECT_THAT( raisedBy<ExAssertionFailed>( body ), HasSubstr( text ) );
    }
    const std::function<void()> aborted[] = {
        [&] { PriorityRelation( "r", graph.node( 'A' ), unknown, graph.node( 'B' ) ); },
        [&] { PriorityRelation::relationToString( unknown ); },
        [] { PriorityMgr::errorToString( PriorityMgr::NONE ); },
        [] { PriorityMgr::errorToString( static_cast<PriorityMgr::Error>( 2 ) ); },
    };
    for( const auto& body : aborted ) {
        EXPECT_NE( raisedBy<ExProgramAborted>( body ), "" );
    }
    EXPECT_EQ( dumpOf( graph.mgr ), before );
    EXPECT_STREQ( PriorityMgr::errorToString( PriorityMgr::RELATION_INVALID ), "RELATION_INVALID" );
    EXPECT_EQ( std::string( PriorityEx::ExError( QV_HERE, "text" ).getReason() ), "text" );
    graph.mgr.enableTracing( false );
    EXPECT_FALSE( graph.mgr.isTracingEnabled() );
}

TEST( PriorityGraphTest, TheManagerOfThreadsHasTheRangeOfTheFactory ) {
    MtPriorityMgr& mgr = MtPriorityMgr::getInstance();
    EXPECT_EQ( mgr.getName(), "MtPriorityMgr" );
    const Priority lowest( "lowest", mgr );
    EXPECT_EQ( lowest.getPriority(), 0 );
    const Priority highest( "highest", mgr, 6 );
    EXPECT_THAT( raisedBy( [&] { Priority( "above", mgr, 7 ); } ), HasSubstr( OUTSIDE ) );
}

TEST( PriorityGraphTest, AManagerMustOutliveItsNodes ) {
    // Its own end would ask the manager; it stays reachable.
    static Priority* left = nullptr;
    EXPECT_THAT( raisedBy( [] {
                     PriorityMgr mgr( "m", 0, 6 );
                     left = new Priority( "left", mgr );
                 } ),
                 HasSubstr( "_prios.size() == 0" ) );
    EXPECT_NE( left, nullptr );
}

} // namespace
} // namespace Qv
