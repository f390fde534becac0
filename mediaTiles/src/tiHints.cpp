#include <mediaTiles/src/tiHints.h>

#include <base/locks/lkGuard.h>
#include <mediaTiles/src/tiDescriptors.h>
#include <resmgt/content/ctEngineOptions.h>

#include <algorithm>
#include <utility>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

TiHint::~TiHint() {
    TiHints::getInstance().keep( *this, {} );
}

TiHints& TiHints::getInstance() {
    static TiHints hints;
    return hints;
}

void TiHints::refreshLimit() noexcept {
    const int configured = std::max( CtEngineOptions::getMaxNbOpenFiles(), 0 );
    {
        const Guard guard( _lock );
        _limit = std::min( static_cast<std::size_t>( configured ), getMaxNbDescriptors() / 2 );
    }
    trim();
}

CtHintPtr TiHints::get( const TiHint& place ) const noexcept {
    const Guard guard( _lock );
    return place._hint;
}

void TiHints::keep( TiHint& place, CtHintPtr hint ) noexcept {
    bool isSurplus = false;
    {
        const Guard guard( _lock );
        if( place._hint ) {
            unlink( place );
        }
        // The former one ends with `hint`, behind the lock.
        place._hint.swap( hint );
        if( place._hint ) {
            link( place );
        }
        isSurplus = isBeyondLimit();
    }
    if( isSurplus ) {
        trim();
    }
}

void TiHints::link( TiHint& place ) noexcept {
    place._older = _newest;
    ( _newest != nullptr ? _newest->_newer : _oldest ) = &place;
    _newest = &place;
    ++_nbKept;
}

void TiHints::unlink( TiHint& place ) noexcept {
    ( place._newer != nullptr ? place._newer->_older : _newest ) = place._older;
    ( place._older != nullptr ? place._older->_newer : _oldest ) = place._newer;
    place._newer = nullptr;
    place._older = nullptr;
    --_nbKept;
}

void TiHints::trim() noexcept {
    while( takeSurplus() ) {}
}

CtHintPtr TiHints::takeSurplus() noexcept {
    const Guard guard( _lock );
    if( !isBeyondLimit() ) {
        return {};
    }
    TiHint& oldest = *_oldest;
    unlink( oldest );
    return std::move( oldest._hint );
}

} // namespace Qv
