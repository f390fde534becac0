#include <resmgt/content/src/ctPrioAccess.h>

#include <base/locks/lkGuard.h>

#include <algorithm>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

/// The order of the heap, whose top is its greatest element.
bool isLater( const CtPrioAccess::Place* left, const CtPrioAccess::Place* right ) {
    return left->turn > right->turn;
}

} // namespace

CtPrioAccess::CtPrioAccess( int limit, CtTally& tally )
    : _limit( static_cast<unsigned int>( std::max( limit, 0 ) ) )
    , _tally( tally ) {}

CtPrioAccess::~CtPrioAccess() = default;

CtPrioAccess::Place CtPrioAccess::demand( const CtPxTileId& tile ) {
    const Guard guard( _lock );
    return demandNoLock( tile );
}

CtPrioAccess::Place CtPrioAccess::demandNoLock( const CtPxTileId& tile ) {
    const Records::iterator record = fetchRecord( tile.getSerialId() );
    ++record->second.nbRequests;
    return { record,
             { record->second.timeStamp, tile.getSerialId(), tile.getOffset(), _nbArrived++ } };
}

CtPrioAccess::Records::iterator CtPrioAccess::fetchRecord( CtSerialId id ) {
    const Records::iterator place = _records.lower_bound( id );
    if( place != _records.end() && place->first == id ) {
        return place;
    }
    if( _spares.empty() ) {
        return _records.try_emplace( place, id );
    }
    Records::node_type node = std::move( _spares.back() );
    _spares.pop_back();
    node.key() = id;
    node.mapped().timeStamp = HwCounter::timeStamp();
    return _records.insert( place, std::move( node ) );
}

void CtPrioAccess::release( Records::iterator record ) {
    const Guard guard( _lock );
    releaseNoLock( record );
}

void CtPrioAccess::releaseNoLock( Records::iterator record ) {
    if( --record->second.nbRequests != 0 ) {
        return;
    }
    Records::node_type node = _records.extract( record );
    try {
        if( !node.mapped().turnCame.isNull() ) {
            _conditions.recycleCondVar( node.mapped().turnCame );
        }
        _spares.push_back( std::move( node ) );
    } catch( const std::bad_alloc& ) {
        // What can't be kept goes.
    }
}

CtPrioAccess::Place CtPrioAccess::enter( const CtPxTileId& tile ) {
    const Guard guard( _lock );
    Place place = demandNoLock( tile );
    if( _nbActive >= _limit || !_waiting.empty() ) {
        try {
            waitForTurn( place );
        } catch( ... ) {
            takeOut( place );
            releaseNoLock( place.record );
            wakeNext();
            throw;
        }
        takeOut( place );
    }
    ++_nbActive;
    wakeNext();
    return place;
}

void CtPrioAccess::waitForTurn( Place& place ) {
    Record& record = place.record->second;
    if( record.turnCame.isNull() ) {
        record.turnCame = _conditions.getCondVar();
    }
    _waiting.push_back( &place );
    std::push_heap( _waiting.begin(), _waiting.end(), isLater );
    if( !isNext( place ) ) {
        _tally.countWait();
    }
    while( !isNext( place ) ) {
        record.turnCame->wait( _lock );
    }
}

bool CtPrioAccess::isNext( const Place& place ) const {
    return _waiting.front() == &place && _nbActive < _limit;
}

void CtPrioAccess::takeOut( const Place& place ) {
    const auto found = std::find( _waiting.begin(), _waiting.end(), &place );
    if( found == _waiting.begin() && found != _waiting.end() ) {
        std::pop_heap( _waiting.begin(), _waiting.end(), isLater );
        _waiting.pop_back();
    } else if( found != _waiting.end() ) {
        _waiting.erase( found );
        std::make_heap( _waiting.begin(), _waiting.end(), isLater );
    }
}

void CtPrioAccess::leave( const Place& place ) {
    const Guard guard( _lock );
    --_nbActive;
    releaseNoLock( place.record );
    wakeNext();
}

void CtPrioAccess::wakeNext() const {
    if( _nbActive < _limit && !_waiting.empty() ) {
        _waiting.front()->record->second.turnCame->broadcast();
    }
}

} // namespace Qv
