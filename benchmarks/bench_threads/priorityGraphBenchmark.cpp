#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityMgr.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/priorityUpdate.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <deque>

/// A relation is added below a graph of so many nodes, each with a client: the walk for cycles
/// through all of them, the computation of all numbers, the check of all relations, and the call to
/// each client. Its removal isn't measured.

namespace {

using namespace Qv;

class Client : public PriorityUpdate {
public:
    void updatePriority( int prio ) override { benchmark::DoNotOptimize( prio ); }
};

class Graph {
public:
    explicit Graph( std::size_t nbNodes )
        : _mgr( "bench", 0, static_cast<int>( nbNodes ) )
        , _bottom( "bottom", _mgr ) {
        for( std::size_t i = 0; i < nbNodes; ++i ) {
            _nodes.emplace_back( "node", _mgr, Priority::NOT_SET, &_client );
        }
    }

    // Without relations.
    Priority& bottom() { return _bottom; }
    Priority& node( std::size_t i ) { return _nodes[i]; }
    std::size_t size() const { return _nodes.size(); }
    void relate( std::size_t lhs, PriorityRelation::Relation relation, std::size_t rhs ) {
        _relations.emplace_back( "relation", node( lhs ), relation, node( rhs ) );
    }

    // Each node above the one before.
    void makeRow() {
        for( std::size_t i = 1; i < size(); ++i ) {
            relate( i - 1, PriorityRelation::LESS, i );
        }
    }
    // All nodes equal.
    void makeGroup() {
        for( std::size_t i = 1; i < size(); ++i ) {
            relate( i - 1, PriorityRelation::EQUAL, i );
        }
    }
    // Each pair of nodes above the pair before: as many ways as two to the power of the rungs.
    void makeLadder() {
        for( std::size_t i = 2; i < size(); ++i ) {
            relate( i - 2, PriorityRelation::LESS, i );
            relate( i % 2 == 0 ? i - 1 : i - 3, PriorityRelation::LESS, i );
        }
    }

private:
    PriorityMgr _mgr;
    Client _client;
    Priority _bottom;
    std::deque<Priority> _nodes;
    std::deque<PriorityRelation> _relations;
};

void addRelation( benchmark::State& state, void ( Graph::*make )() ) {
    using Clock = std::chrono::steady_clock;
    Graph graph( static_cast<std::size_t>( state.range( 0 ) ) );
    ( graph.*make )();
    for( auto _ : state ) {
        const auto begin = Clock::now();
        const PriorityRelation added( "added", graph.bottom(), PriorityRelation::LESS_OR_EQUAL,
                                      graph.node( 0 ) );
        state.SetIterationTime( std::chrono::duration<double>( Clock::now() - begin ).count() );
    }
    state.SetComplexityN( state.range( 0 ) );
}

void sizes( benchmark::internal::Benchmark* row ) {
    row->Arg( 10 )->Arg( 30 )->Arg( 100 )->Arg( 300 )->Arg( 1000 );
    row->UseManualTime()->Complexity( benchmark::oN );
}
BENCHMARK_CAPTURE( addRelation, row, &Graph::makeRow )->Apply( sizes );
BENCHMARK_CAPTURE( addRelation, group, &Graph::makeGroup )->Apply( sizes );
BENCHMARK_CAPTURE( addRelation, ladder, &Graph::makeLadder )->Apply( sizes );

} // namespace
