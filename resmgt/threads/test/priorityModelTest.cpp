#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityMgr.h>
#include <resmgt/threads/priorityRelation.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace Qv {
namespace {

using Random = std::mt19937_64;
using Values = std::vector<int>;

struct ModelRelation {
    std::size_t lhs;
    PriorityRelation::Relation kind;
    std::size_t rhs;

    bool isEqual() const { return kind == PriorityRelation::EQUAL; }
    int step() const { return kind == PriorityRelation::LESS ? 1 : 0; }
};

/// The same as a list of statements; values come from plain relaxation over the groups of equal
/// nodes.
struct Model {
    enum Outcome { VALUES, TOO_TIGHT, UNEQUAL, CYCLE_THROUGH_EQUALS, CYCLE };

    int minPrio;
    int maxPrio;
    /// NOT_SET for free nodes.
    Values fixed;
    std::vector<ModelRelation> relations;

    std::vector<std::size_t> findGroups() const {
        std::vector<std::size_t> groups( fixed.size() );
        std::iota( groups.begin(), groups.end(), std::size_t( 0 ) );
        for( const ModelRelation& rel : relations ) {
            if( rel.isEqual() ) {
                const std::size_t kept = groups[rel.lhs];
                std::replace( groups.begin(), groups.end(), std::size_t( groups[rel.rhs] ), kept );
            }
        }
        return groups;
    }

    /// Whether relations other than EQUAL lead from one node to another one, or they are the same.
    bool leadsTo( std::size_t from, std::size_t to ) const {
        std::vector<bool> isReached( fixed.size(), false );
        isReached[from] = true;
        for( std::size_t round = 0; round < fixed.size(); ++round ) {
            for( const ModelRelation& rel : relations ) {
                if( !rel.isEqual() && isReached[rel.lhs] ) {
                    isReached[rel.rhs] = true;
                }
            }
        }
        return isReached[to];
    }

    Outcome solve( Values& values ) const {
        const std::vector<std::size_t> groups = findGroups();
        std::vector<std::optional<int>> anchors( fixed.size() );
        Outcome outcome = VALUES;
        for( std::size_t i = 0; i < fixed.size(); ++i ) {
            std::optional<int>& anchor = anchors[groups[i]];
            if( fixed[i] != Priority::NOT_SET ) {
                if( anchor && *anchor != fixed[i] ) {
                    outcome = UNEQUAL;
                }
                anchor = fixed[i];
            }
        }
        Values floors( fixed.size() );
        std::transform( anchors.begin(), anchors.end(), floors.begin(),
                        [&]( const auto& anchor ) { return anchor.value_or( minPrio ); } );
        if( !relax( groups, floors ) ) {
            return CYCLE_THROUGH_EQUALS;
        }
        values.resize( fixed.size() );
        for( std::size_t i = 0; i < fixed.size(); ++i ) {
            values[i] = floors[groups[i]];
            const bool isPushed = anchors[groups[i]] && values[i] > *anchors[groups[i]];
            if( outcome == VALUES && ( isPushed || values[i] > maxPrio ) ) {
                outcome = TOO_TIGHT;
            }
        }
        return outcome;
    }

private:
    /// False where there is a cycle.
    bool relax( const std::vector<std::size_t>& groups, Values& floors ) const {
        std::vector<std::size_t> depths( floors.size(), 0 );
        bool isChanged = true;
        while( isChanged ) {
            isChanged = false;
            for( const ModelRelation& rel : relations ) {
                const std::size_t lhs = groups[rel.lhs];
                const std::size_t rhs = groups[rel.rhs];
                if( !rel.isEqual() && depths[rhs] < depths[lhs] + 1 ) {
                    depths[rhs] = depths[lhs] + 1;
                    isChanged = true;
                    if( depths[rhs] > floors.size() ) {
                        return false;
                    }
                }
                if( !rel.isEqual() && floors[rhs] < floors[lhs] + rel.step() ) {
                    floors[rhs] = floors[lhs] + rel.step();
                    isChanged = true;
                }
            }
        }
        return true;
    }
};

/// The real graph of a model's nodes and relations, which lie in memory in an order of their own.
class RealGraph {
public:
    static constexpr std::size_t MAX_RELATIONS = 24;

    RealGraph( const Model& model, Random& random )
        : _mgr( "model", model.minPrio, model.maxPrio )
        , _random( random )
        , _prios( model.fixed.size() )
        , _places( model.fixed.size() ) {
        std::iota( _places.begin(), _places.end(), std::size_t( 0 ) );
        std::shuffle( _places.begin(), _places.end(), random );
        for( std::size_t i = 0; i < _places.size(); ++i ) {
            _prios[_places[i]].emplace( "n" + std::to_string( i ), _mgr, model.fixed[i] );
        }
    }

    Priority& node( std::size_t i ) { return *_prios[_places[i]]; }
    Values values() {
        Values values;
        for( std::size_t i = 0; i < _places.size(); ++i ) {
            values.push_back( node( i ).getPriority() );
        }
        return values;
    }
    /// Where it is kept.
    std::size_t add( const ModelRelation& rel ) {
        std::size_t place = _random() % MAX_RELATIONS;
        while( _relations[place] ) {
            place = ( place + 1 ) % MAX_RELATIONS;
        }
        _relations[place].emplace( "r" + std::to_string( place ), node( rel.lhs ), rel.kind,
                                   node( rel.rhs ) );
        return place;
    }
    void remove( std::size_t place ) {
        // Not by the destructor alone, whose exceptions would end here.
        _mgr.remove( *_relations[place] );
        _relations[place].reset();
    }
    bool isValid() { return _mgr.check() == PriorityMgr::NONE; }

private:
    PriorityMgr _mgr;
    Random& _random;
    std::vector<std::optional<Priority>> _prios;
    std::vector<std::size_t> _places;
    std::array<std::optional<PriorityRelation>, MAX_RELATIONS> _relations;
};

/// Changes a random graph at random.
class RandomWalk {
public:
    explicit RandomWalk( Random& random )
        : _random( random )
        , _model( makeNodes( random ) )
        , _real( _model, random ) {}

    void run() {
        const int nbChanges = draw( 4, 24 );
        for( int i = 0; i < nbChanges; ++i ) {
            const int choice = draw( 0, 9 );
            if( choice == 0 ) {
                setPriority();
            } else if( choice <= 2 && !_places.empty() ) {
                remove();
            } else if( _places.size() < RealGraph::MAX_RELATIONS ) {
                add();
            }
            Values expected;
            ASSERT_EQ( _model.solve( expected ), Model::VALUES );
            ASSERT_EQ( _real.values(), expected );
        }
        buildAnew();
    }

private:
    static int draw( Random& random, int first, int last ) {
        return std::uniform_int_distribution<int>( first, last )( random );
    }
    int draw( int first, int last ) { return draw( _random, first, last ); }
    std::size_t drawIndex( std::size_t size ) { return _random() % size; }

    static int drawFixed( Random& random, const Model& model ) {
        const int value = draw( random, model.minPrio, model.maxPrio );
        return value == Priority::NOT_SET ? model.maxPrio : value;
    }
    static Model makeNodes( Random& random ) {
        static constexpr int bottoms[] = { 0, 0, -9, -2, 100 };
        Model model;
        model.minPrio = bottoms[random() % std::size( bottoms )];
        model.maxPrio = model.minPrio + draw( random, 2, 7 );
        model.fixed.resize( static_cast<std::size_t>( draw( random, 1, 9 ) ) );
        for( int& value : model.fixed ) {
            value = random() % 4 == 0 ? drawFixed( random, model ) : Priority::NOT_SET;
        }
        return model;
    }

    void add() {
        const ModelRelation rel = {
            drawIndex( _model.fixed.size() ),
            static_cast<PriorityRelation::Relation>( drawIndex( 3 ) ),
            drawIndex( _model.fixed.size() ),
        };
        const bool isCycle = _model.leadsTo( rel.rhs, rel.lhs );
        _model.relations.push_back( rel );
        Values values;
        const Model::Outcome outcome = isCycle ? Model::CYCLE : _model.solve( values );
        // Most would fail, and that takes long.
        if( outcome != Model::VALUES && _random() % 4 != 0 ) {
            _model.relations.pop_back();
            return;
        }
        const Values before = _real.values();
        std::size_t place = RealGraph::MAX_RELATIONS;
        const std::string text = raisedBy( [&] { place = _real.add( rel ); } );
        expectOutcome( outcome, text );
        if( text.empty() && outcome == Model::VALUES ) {
            _places.push_back( place );
            return;
        }
        if( text.empty() ) {
            // All that is in the cycle is fixed.
            ASSERT_TRUE( _real.isValid() );
            _real.remove( place );
        }
        _model.relations.pop_back();
        ASSERT_EQ( _real.values(), before );
    }

    void expectOutcome( Model::Outcome outcome, const std::string& text ) {
        const bool isAssertion = text.find( "\"minPrio <= " ) != std::string::npos;
        const bool isInvalid = text.starts_with( "Relation \"" );
        switch( outcome ) {
        case Model::VALUES:
            ASSERT_EQ( text, "" );
            break;
        case Model::TOO_TIGHT:
            ASSERT_TRUE( isAssertion ) << text;
            break;
        case Model::UNEQUAL:
            ASSERT_TRUE( isAssertion || isInvalid ) << text;
            break;
        case Model::CYCLE_THROUGH_EQUALS:
            ASSERT_TRUE( isAssertion || isInvalid || text.empty() ) << text;
            break;
        case Model::CYCLE:
            ASSERT_THAT( text, ::testing::HasSubstr( "findDependantRecNoLock" ) );
            break;
        }
    }

    void remove() {
        const std::size_t i = drawIndex( _places.size() );
        _real.remove( _places[i] );
        _places.erase( _places.begin() + static_cast<std::ptrdiff_t>( i ) );
        _model.relations.erase( _model.relations.begin() + static_cast<std::ptrdiff_t>( i ) );
    }

    void setPriority() {
        const std::size_t i = drawIndex( _model.fixed.size() );
        const int former = _model.fixed[i];
        const int value = drawFixed( _random, _model );
        if( former != Priority::NOT_SET ) {
            _model.fixed[i] = value;
        }
        Values values;
        const Model::Outcome outcome = _model.solve( values );
        const std::string text = raisedBy( [&] { _real.node( i ).setPriority( value ); } );
        expectOutcome( outcome, text );
        if( text.starts_with( "Relation \"" ) ) {
            _real.node( i ).setPriority( former );
        }
        if( !text.empty() ) {
            _model.fixed[i] = former;
        }
    }

    void buildAnew() {
        RealGraph anew( _model, _random );
        std::vector<ModelRelation> relations = _model.relations;
        std::shuffle( relations.begin(), relations.end(), _random );
        for( const ModelRelation& rel : relations ) {
            anew.add( rel );
        }
        ASSERT_EQ( anew.values(), _real.values() );
    }

    Random& _random;
    Model _model;
    RealGraph _real;
    /// Where each relation of the model is kept.
    std::vector<std::size_t> _places;
};

TEST( PriorityModelTest, RandomGraphsHaveTheValuesOfPlainRelaxation ) {
    Random random( testSeed() );
    const long nbGraphs = scaledCount( 100'000 );
    for( long i = 0; i < nbGraphs && !HasFatalFailure(); ++i ) {
        SCOPED_TRACE( "graph " + std::to_string( i ) );
        RandomWalk( random ).run();
    }
}

} // namespace
} // namespace Qv
