#include <resmgt/threads/priorityMgr.h>

#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <base/trace/trace.h>
#include <resmgt/threads/priorityEx.h>
#include <resmgt/threads/priorityUpdate.h>
#include <resmgt/threads/src/mtDestructor.h>
#include <resmgt/threads/src/priorityGraph.h>

#include <exception>
#include <limits>
#include <ostream>
#include <utility>

namespace Qv {

/// While it lives, changes are refused.
class PriorityMgr::UpdateScope {
public:
    explicit UpdateScope( bool& isUpdating ) noexcept
        : _isUpdating( isUpdating )
        , _before( std::exchange( isUpdating, true ) ) {}
    UpdateScope( const UpdateScope& ) = delete;
    UpdateScope& operator=( const UpdateScope& ) = delete;
    ~UpdateScope() { _isUpdating = _before; }

private:
    bool& _isUpdating;
    const bool _before;
};

PriorityMgr::PriorityMgr( const LiString& name, int minPrio, int maxPrio )
    : _name( name )
    , _lock( "PriorityMgr" )
    , _minPrio( minPrio )
    , _maxPrio( maxPrio ) {
    QV_ASSERT( minPrio <= maxPrio );
    QV_ASSERT( maxPrio < std::numeric_limits<int>::max() );
    QV_ASSERT( minPrio > std::numeric_limits<int>::min() );
    _graph = std::make_unique<PriorityGraph>( minPrio, maxPrio );
}

PriorityMgr::~PriorityMgr() noexcept( false ) {
    runDestructor( [this] {
        const LkGuard<const LkLock> guard( _lock );
        _graph->assertEmpty();
    } );
}

void PriorityMgr::add( Priority& prio ) {
    QV_ASSERT( &prio.getMgr() == this );
    const LkGuard<const LkLock> guard( _lock );
    insert( *prio._node );
    tellClient( *prio._node );
}

void PriorityMgr::enter( PriorityNode& node ) {
    if( node.isFixed ) {
        checkInRange( node.prio );
    }
    const LkGuard<const LkLock> guard( _lock );
    insert( node );
    try {
        tellClient( node );
    } catch( ... ) {
        _graph->erase( node );
        throw;
    }
}

void PriorityMgr::insert( PriorityNode& node ) {
    QV_ASSERT( !_isUpdating );
    _graph->insert( node );
    if( !node.isFixed ) {
        node.prio = _minPrio;
    }
}

void PriorityMgr::checkInRange( int prio ) const {
    QV_ASSERT( _minPrio <= prio && prio <= _maxPrio );
    QV_ASSERT( prio != Priority::NOT_SET );
}

void PriorityMgr::remove( Priority& prio ) {
    QV_ASSERT( &prio.getMgr() == this );
    const LkGuard<const LkLock> guard( _lock );
    QV_ASSERT( !_isUpdating );
    _graph->erase( *prio._node );
}

void PriorityMgr::leave( PriorityNode& node ) {
    const LkGuard<const LkLock> guard( _lock );
    node.priority = nullptr;
    node.update = nullptr;
    node.refuseIfUsed();
    _graph->erase( node );
    QV_ASSERT( !_isUpdating );
}

void PriorityMgr::add( PriorityRelation& rel ) {
    QV_ASSERT_TEXT( &rel._lhs->mgr == this, "&rel.getLhs().getMgr() == this" );
    const LkGuard<const LkLock> guard( _lock );
    QV_ASSERT( !_isUpdating );
    _graph->insert( rel );
    notify();
}

void PriorityMgr::enter( PriorityRelation& rel ) {
    const LkGuard<const LkLock> guard( _lock );
    QV_ASSERT( !_isUpdating );
    _graph->insert( rel );
    try {
        notify();
    } catch( ... ) {
        takeBack( rel );
        throw;
    }
}

// Undoes what the relation's insertion has changed.
void PriorityMgr::takeBack( PriorityRelation& rel ) {
    erase( rel );
    _graph->restore();
    _failedRelation = _graph->findInvalid();
    if( _isTold ) {
        try {
            tellClients();
        } catch( ... ) {
            Trace::printCurrentException( "PriorityUpdate::updatePriority", QV_HERE );
        }
    }
}

void PriorityMgr::remove( PriorityRelation& rel ) {
    QV_ASSERT_TEXT( &rel._lhs->mgr == this, "&rel.getLhs().getMgr() == this" );
    const LkGuard<const LkLock> guard( _lock );
    QV_ASSERT( !_isUpdating );
    if( erase( rel ) ) {
        notify();
    }
}

void PriorityMgr::leave( PriorityRelation& rel ) {
    const LkGuard<const LkLock> guard( _lock );
    if( erase( rel ) ) {
        QV_ASSERT( !_isUpdating );
        notify();
    }
}

bool PriorityMgr::erase( PriorityRelation& rel ) {
    if( _failedRelation == &rel ) {
        _failedRelation = nullptr;
    }
    return _graph->erase( rel );
}

void PriorityMgr::setValue( PriorityNode& node, int prio ) {
    if( node.isFixed ) {
        checkInRange( prio );
    }
    const LkGuard<const LkLock> guard( _lock );
    QV_ASSERT( !_isUpdating );
    const int former = std::exchange( node.prio, prio );
    try {
        update();
    } catch( ... ) {
        node.prio = former;
        throw;
    }
    publish();
}

void PriorityMgr::notify() {
    update();
    publish();
}

void PriorityMgr::update() {
    _isTold = false;
    _graph->beginChange();
    const UpdateScope scope( _isUpdating );
    try {
        performUpdate();
    } catch( ... ) {
        _graph->restore();
        throw;
    }
}

void PriorityMgr::publish() {
    const UpdateScope scope( _isUpdating );
    _failedRelation = _graph->findInvalid();
    if( _failedRelation != nullptr ) {
        updateError( RELATION_INVALID );
    } else {
        _isTold = true;
        tellClients();
    }
}

void PriorityMgr::tellClient( const PriorityNode& node ) {
    if( node.update != nullptr ) {
        const UpdateScope scope( _isUpdating );
        node.update->updatePriority( node.prio );
    }
}

void PriorityMgr::tellClients() {
    const PriorityNode::Nodes& nodes = _graph->getPrios();
    std::exception_ptr failure;
    for( auto place = nodes.begin(); place != nodes.end(); ) {
        if( ( *place )->update == nullptr ) {
            ++place;
            continue;
        }
        // The client may destroy any priority, its own too.
        const RCShdPtr<PriorityNode> node( *place );
        try {
            tellClient( *node );
        } catch( ... ) {
            if( failure == nullptr ) {
                failure = std::current_exception();
            } else {
                Trace::printCurrentException( "PriorityUpdate::updatePriority", QV_HERE );
            }
        }
        place = nodes.upper_bound( node.get() );
    }
    if( failure != nullptr ) {
        std::rethrow_exception( failure );
    }
}

void PriorityMgr::performUpdate() {
    _graph->compute();
}

void PriorityMgr::updateError( Error error ) {
    const char* const text = errorToString( error );
    if( error != RELATION_INVALID ) {
        throw PriorityEx::ExError( QV_HERE, text );
    }
    QV_ASSERT( _failedRelation != 0 );
    const PriorityRelation& rel = *_failedRelation;
    throw PriorityEx::ExRelationInvalid( QV_HERE, rel._name, rel._lhs->name, rel._lhs->prio,
                                         PriorityRelation::relationToString( rel._relation ),
                                         rel._rhs->name, rel._rhs->prio );
}

PriorityMgr::Error PriorityMgr::check() {
    const LkGuard<const LkLock> guard( _lock );
    _failedRelation = _graph->findInvalid();
    return _failedRelation == nullptr ? NONE : RELATION_INVALID;
}

void PriorityMgr::dump( std::ostream& stream ) const {
    std::string text;
    {
        const LkGuard<const LkLock> guard( _lock );
        text = _graph->describe();
    }
    stream << text;
}

Set<Priority*> PriorityMgr::getPriosNoLock() const {
    Set<Priority*> prios;
    for( const PriorityNode* const node : _graph->getPrios() ) {
        if( node->priority != nullptr ) {
            prios.insert( node->priority );
        }
    }
    return prios;
}

void PriorityMgr::enableTracing( bool isEnabled ) {
    const LkGuard<const LkLock> guard( _lock );
    _isTracing = isEnabled;
}

bool PriorityMgr::isTracingEnabled() const {
    const LkGuard<const LkLock> guard( _lock );
    return _isTracing;
}

const char* PriorityMgr::errorToString( Error error ) {
    switch( error ) {
    case NONE:
        break;
    case RELATION_INVALID:
        return "RELATION_INVALID";
    }
    Assertions::throwProgramAborted( QV_HERE, nullptr );
}

} // namespace Qv
