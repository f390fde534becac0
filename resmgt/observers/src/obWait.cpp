#include <resmgt/observers/src/obWait.h>

#include <base/failure/assertions.h>
#include <base/locks/lkLock.h>

namespace Qv {

namespace {

/// Comes behind any manager's lock; a leaf.
constinit const LkLock waitsLock( "observers-waits" );
constinit ObWait* waits QV_GUARDED_BY( waitsLock ) = nullptr;

} // namespace

ObWait::ObWait( const ObChangeManagerImp& manager, const ObObserverAny* observer )
    : _manager( manager )
    , _observer( observer )
    , _innermost( innermostPass ) {
    if( _innermost == nullptr ) {
        return;
    }
    const LkGuard<const LkLock> guard( waitsLock );
    QV_ASSERT( !waitsForItself() );
    _next = waits;
    waits = this;
}

ObWait::~ObWait() {
    if( _innermost == nullptr ) {
        return;
    }
    const LkGuard<const LkLock> guard( waitsLock );
    ObWait** link = &waits;
    while( *link != this ) {
        link = &( *link )->_next;
    }
    *link = _next;
}

bool ObWait::waitsFor( const ObPass* innermost ) const noexcept {
    for( const ObPass* pass = innermost; pass != nullptr; pass = pass->getOuter() ) {
        if( pass->isAt( _manager, _observer ) ) {
            return true;
        }
    }
    return false;
}

bool ObWait::waitsForItself() const noexcept QV_NO_THREAD_SAFETY_ANALYSIS {
    for( const ObWait* wait = waits; wait != nullptr; wait = wait->_next ) {
        wait->_isSeen = false;
    }
    // Those that are seen but haven't been asked yet form a list of their own.
    _nextSeen = nullptr;
    for( const ObWait* asked = this; asked != nullptr; ) {
        if( asked->waitsFor( _innermost ) ) {
            return true;
        }
        const ObWait* seen = asked->_nextSeen;
        for( const ObWait* wait = waits; wait != nullptr; wait = wait->_next ) {
            if( !wait->_isSeen && asked->waitsFor( wait->_innermost ) ) {
                wait->_isSeen = true;
                wait->_nextSeen = seen;
                seen = wait;
            }
        }
        asked = seen;
    }
    return false;
}

} // namespace Qv
