#include <base/callbacks/cbDispatcherBase.h>
#include <base/callbacks/cbHandler.h>
#include <base/failure/assertions.h>

#include <algorithm>

namespace Qv {

void CbEmptyType::NoArgCallBase::invalidNoArgCall() {
    Assertions::throwProgramAborted( QV_HERE,
                                     "A call-back that takes an argument was called without one." );
}

CbHandlerBase::~CbHandlerBase() noexcept {
    while( !_dispatchers.empty() ) {
        _dispatchers.back()->remove( *this );
    }
}

CbHandler<CbEmptyType>::CbHandler() noexcept = default;
CbHandler<CbEmptyType>::~CbHandler() noexcept = default;

CbDispatcherBase::~CbDispatcherBase() noexcept {
    for( Round* round = _rounds; round != nullptr; round = round->_outerRound ) {
        round->_dispatcher = nullptr;
    }
    for( const Link& link : _links ) {
        leave( link );
    }
}

void CbDispatcherBase::add( CbHandlerBase& handler ) {
    if( contains( handler ) ) {
        return;
    }
    handler._dispatchers.push_back( this );
    try {
        _links.push_back( { &handler, _nextId++, handler._dispatchers.size() - 1 } );
    } catch( ... ) {
        handler._dispatchers.pop_back();
        throw;
    }
}

void CbDispatcherBase::remove( CbHandlerBase& handler ) noexcept {
    const auto link = findLink( handler );
    if( link != _links.end() ) {
        leave( *link );
        _links.erase( link );
    }
}

bool CbDispatcherBase::contains( const CbHandlerBase& handler ) const noexcept {
    // A handler may be known to a million dispatchers, and a dispatcher know a million handlers.
    return _links.size() < handler._dispatchers.size()
               ? std::ranges::find( _links, &handler, &Link::_handler ) != _links.end()
               : std::ranges::find( handler._dispatchers, this ) != handler._dispatchers.end();
}

std::vector<CbDispatcherBase::Link>::iterator
CbDispatcherBase::findLink( const CbHandlerBase& handler ) noexcept {
    return std::ranges::find( _links, &handler, &Link::_handler );
}

void CbDispatcherBase::leave( const Link& link ) noexcept {
    std::vector<CbDispatcherBase*>& dispatchers = link._handler->_dispatchers;
    CbDispatcherBase* const last = dispatchers.back();
    if( last != this ) {
        dispatchers[link._slot] = last;
        last->findLink( *link._handler )->_slot = link._slot;
    }
    dispatchers.pop_back();
}

CbDispatcherBase::Round::Round( CbDispatcherBase& dispatcher )
    : _dispatcher( &dispatcher )
    , _outerRound( dispatcher._rounds )
    , _snapshot( dispatcher._links ) {
    dispatcher._rounds = this;
}

CbDispatcherBase::Round::~Round() {
    if( _dispatcher != nullptr ) {
        _dispatcher->_rounds = _outerRound;
    }
}

CbHandlerBase* CbDispatcherBase::Round::next() noexcept {
    while( _dispatcher != nullptr && _position < _snapshot.size() ) {
        const Link& link = _snapshot[_position++];
        const auto& links = _dispatcher->_links;
        const auto i = std::ranges::lower_bound( links, link._id, {}, &Link::_id );
        if( i != links.end() && i->_id == link._id ) {
            return link._handler;
        }
    }
    return nullptr;
}

} // namespace Qv
