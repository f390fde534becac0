#include <resmgt/threads/src/priorityGraph.h>

#include <base/failure/assertions.h>

#include <algorithm>
#include <functional>

namespace Qv {

namespace {

/// For a loop from the last one to the first.
struct Reversed {
    const PriorityNode::Relations& relations;

    auto begin() const noexcept { return relations.rbegin(); }
    auto end() const noexcept { return relations.rend(); }
};

/// A leaf waits for the one visit that it is given.
int countInputs( const PriorityNode& node ) noexcept {
    return std::max( 1, static_cast<int>( node.dependOns.size() ) );
}

void setGroupPrio( PriorityNode& representative, int prio ) noexcept {
    representative.groupPrio = prio;
    if( !representative.isFixed ) {
        representative.prio = prio;
    }
}

} // namespace

PriorityGraph::PriorityGraph( int minPrio, int maxPrio ) noexcept
    : _minPrio( minPrio )
    , _maxPrio( maxPrio )
    , _resetPrio( std::min( -1, minPrio - 1 ) ) {}

void PriorityGraph::insert( PriorityNode& node ) {
    reserve();
    QV_ASSERT_TEXT( _prios.insert( &node ).second, "_prios.insert( &prio ).second" );
    try {
        QV_ASSERT_TEXT( _leafPrios.insert( &node ).second, "_leafPrios.insert( &prio ).second" );
    } catch( ... ) {
        _prios.erase( &node );
        throw;
    }
}

void PriorityGraph::erase( PriorityNode& node ) {
    QV_ASSERT_TEXT( _prios.contains( &node ), "_prios.erase( &prio ) == 1" );
    QV_ASSERT_TEXT( _leafPrios.contains( &node ), "_leafPrios.erase( &prio ) == 1" );
    node.refuseIfUsed();
    _leafPrios.erase( &node );
    _prios.erase( &node );
}

void PriorityGraph::insert( PriorityRelation& rel ) {
    QV_ASSERT_TEXT( _prios.contains( rel._lhs.get() ) && _prios.contains( rel._rhs.get() ),
                    "_prios.count( &rel.getLhs() ) == 1 && _prios.count( &rel.getRhs() ) == 1" );
    reserve();
    QV_ASSERT_TEXT( !hasDependantRec( *rel._rhs, *rel._lhs ),
                    "rel._rhs.findDependantRecNoLock( &rel._lhs ) == 0" );
    QV_ASSERT( _relations.insert( &rel ).second );
    try {
        link( rel );
    } catch( ... ) {
        erase( rel );
        throw;
    }
}

void PriorityGraph::reserve() {
    const std::size_t nbEntries = _relations.size() + 2;
    if( nbEntries > std::min( _visits.capacity(), _unvisited.capacity() ) ) {
        _visits.reserve( 2 * nbEntries );
        _unvisited.reserve( 2 * nbEntries );
    }
}

bool PriorityGraph::hasDependantRec( PriorityNode& from, const PriorityNode& searched ) {
    ++_nbWalks;
    _unvisited.assign( 1, &from );
    while( !_unvisited.empty() ) {
        const PriorityNode* const node = _unvisited.back();
        _unvisited.pop_back();
        if( node == &searched ) {
            return true;
        }
        for( const PriorityRelation* const rel : node->dependants ) {
            // Else there would be as many visits as there are ways.
            if( rel->_rhs->walk != _nbWalks ) {
                rel->_rhs->walk = _nbWalks;
                _unvisited.push_back( rel->_rhs.get() );
            }
        }
    }
    return false;
}

void PriorityGraph::link( PriorityRelation& rel ) {
    PriorityNode& lhs = *rel._lhs;
    PriorityNode& rhs = *rel._rhs;
    if( rel._relation == PriorityRelation::EQUAL ) {
        QV_ASSERT_TEXT( lhs.equals.insert( &rel ).second,
                        "rel.getLhs()._equals.insert( &rel ).second" );
        QV_ASSERT_TEXT( rhs.equals.insert( &rel ).second,
                        "rel.getRhs()._equals.insert( &rel ).second" );
        return;
    }
    if( rhs.dependOns.empty() ) {
        rhs.leafSeat = _leafPrios.extract( &rhs );
        QV_ASSERT_TEXT( !rhs.leafSeat.empty(), "_leafPrios.erase( &rel.getRhs() ) == 1" );
    }
    QV_ASSERT_TEXT( lhs.dependants.insert( &rel ).second,
                    "rel.getLhs()._dependants.insert( &rel ).second" );
    QV_ASSERT_TEXT( rhs.dependOns.insert( &rel ).second,
                    "rel.getRhs()._dependOns.insert( &rel ).second" );
}

bool PriorityGraph::erase( PriorityRelation& rel ) noexcept {
    if( _relations.erase( &rel ) == 0 ) {
        return false;
    }
    for( PriorityNode* const end : { rel._lhs.get(), rel._rhs.get() } ) {
        end->dependants.erase( &rel );
        end->dependOns.erase( &rel );
        end->equals.erase( &rel );
        if( end->dependOns.empty() && !end->leafSeat.empty() ) {
            _leafPrios.insert( std::move( end->leafSeat ) );
        }
        if( end->priority == nullptr && !end->isUsed() ) {
            _leafPrios.erase( end );
            _prios.erase( end );
        }
    }
    return true;
}

void PriorityGraph::assertEmpty() const {
    QV_ASSERT( _prios.size() == 0 );
    QV_ASSERT( _leafPrios.size() == 0 );
    QV_ASSERT( _relations.size() == 0 );
}

void PriorityGraph::compute() {
    resetValues();
    for( PriorityNode* const leaf : _leafPrios ) {
        _visits.push_back( { Visit::PROPAGATE, leaf, _minPrio } );
        visitAll();
    }
}

void PriorityGraph::resetValues() noexcept {
    // What an assertion has left.
    _visits.clear();
    for( PriorityNode* const node : _prios ) {
        if( !_isSaved ) {
            node->formerPrio = node->prio;
        }
        if( !node->isFixed ) {
            node->prio = _resetPrio;
        }
        node->equalTo = nullptr;
        node->count = countInputs( *node );
        node->isEqualFixed = false;
        node->groupPrio = _resetPrio;
        node->isFinished = false;
    }
    _isSaved = true;
}

void PriorityGraph::restore() noexcept {
    if( _isSaved ) {
        for( PriorityNode* const node : _prios ) {
            node->prio = node->formerPrio;
        }
    }
}

// A visit pushes those that follow from it in the reverse order, so that each is made, with all
// that follows from it, before the next.
void PriorityGraph::visitAll() {
    while( !_visits.empty() ) {
        const Visit visit = _visits.back();
        _visits.pop_back();
        if( visit.kind == Visit::PROPAGATE ) {
            propagate( *visit.node, visit.value );
        } else {
            resetEqualTo( *visit.node, visit.value );
        }
    }
}

void PriorityGraph::propagate( PriorityNode& node, int minPrio ) {
    QV_ASSERT( minPrio <= _maxPrio );
    if( !node.equals.empty() ) {
        propagateGroup( node, minPrio );
        return;
    }
    if( node.isFixed ) {
        QV_ASSERT_TEXT( minPrio <= node.prio, "minPrio <= prio->_prio" );
    } else {
        node.prio = std::max( node.prio, minPrio );
    }
    if( --node.count == 0 ) {
        pushDependants( node, node.prio );
    }
}

void PriorityGraph::propagateGroup( PriorityNode& node, int minPrio ) {
    if( node.equalTo == nullptr ) {
        setEqualTo( node );
    }
    if( node.isFinished ) {
        return;
    }
    PriorityNode& representative = *node.equalTo;
    if( representative.isEqualFixed ) {
        QV_ASSERT_TEXT( minPrio <= representative.groupPrio, "minPrio <= prio->_prio" );
    } else if( minPrio > representative.groupPrio ) {
        setGroupPrio( representative, minPrio );
    }
    if( --representative.count == 0 ) {
        resetEqualTo( representative, representative.groupPrio );
    }
}

// Gathers the group.
void PriorityGraph::setEqualTo( PriorityNode& representative ) noexcept {
    representative.count = 0;
    _unvisited.assign( 1, &representative );
    while( !_unvisited.empty() ) {
        PriorityNode& node = *_unvisited.back();
        _unvisited.pop_back();
        if( node.equalTo != nullptr ) {
            continue;
        }
        node.equalTo = &representative;
        representative.count += countInputs( node );
        if( node.isFixed ) {
            representative.isEqualFixed = true;
            setGroupPrio( representative, node.prio );
        }
        for( const PriorityRelation* const rel : Reversed{ node.equals } ) {
            PriorityNode& other = rel->getOther( node );
            if( other.equalTo == nullptr ) {
                _unvisited.push_back( &other );
            }
        }
    }
}

// Gives the member the group's value, and goes on to its neighbours.
void PriorityGraph::resetEqualTo( PriorityNode& node, int value ) noexcept {
    if( node.isFinished ) {
        return;
    }
    if( !node.isFixed ) {
        node.prio = node.equalTo->groupPrio;
    }
    node.isFinished = true;
    for( const PriorityRelation* const rel : Reversed{ node.equals } ) {
        PriorityNode& other = rel->getOther( node );
        if( !other.isFinished ) {
            _visits.push_back( { Visit::RESET_EQUAL_TO, &other, value } );
        }
    }
    pushDependants( node, value );
}

void PriorityGraph::pushDependants( const PriorityNode& node, int value ) noexcept {
    for( const PriorityRelation* const rel : Reversed{ node.dependants } ) {
        _visits.push_back(
            { Visit::PROPAGATE, rel->_rhs.get(), rel->computeRhsPriority( value ) } );
    }
}

const PriorityRelation* PriorityGraph::findInvalid() const {
    const auto invalid = std::find_if_not( _relations.begin(), _relations.end(),
                                           std::mem_fn( &PriorityRelation::checkNoLock ) );
    return invalid == _relations.end() ? nullptr : *invalid;
}

std::string PriorityGraph::describe() const {
    std::string text = "Priorities:\n";
    for( const PriorityNode* const node : _prios ) {
        text += node->describe( false );
    }
    text += "Independant: \n";
    for( const PriorityNode* const node : _leafPrios ) {
        text += node->describe( false );
    }
    text += "Relations: \n";
    for( const PriorityRelation* const rel : _relations ) {
        text += rel->describeNoLock();
    }
    return text;
}

} // namespace Qv
