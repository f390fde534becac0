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
        std::erase( link._handler->_dispatchers, this );
    }
}

void CbDispatcherBase::add( CbHandlerBase& handler ) {
    if( contains( handler ) ) {
        return;
    }
    handler._dispatchers.reserve( handler._dispatchers.size() + 1 );
    _links.push_back( { &handler, _nextId++ } );
    handler._dispatchers.push_back( this );
}

void CbDispatcherBase::remove( CbHandlerBase& handler ) noexcept {
    std::erase_if( _links, [&]( const Link& link ) { return link._handler == &handler; } );
    std::erase( handler._dispatchers, this );
}

bool CbDispatcherBase::contains( const CbHandlerBase& handler ) const noexcept {
    // Whichever list is the shorter one would do; a handler's is.
    return std::ranges::find( handler._dispatchers, this ) != handler._dispatchers.end();
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
