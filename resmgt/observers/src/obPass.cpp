#include <resmgt/observers/src/obPass.h>

namespace Qv {

namespace {

thread_local constinit ObPass* innermost
#if defined( __linux__ )
    __attribute__( ( tls_model( "initial-exec" ) ) )
#endif
    = nullptr;

} // namespace

ObPass::ObPass( const ObChangeManagerImp& manager, ObSlots& slots, ObPass*& newest ) noexcept
    : _slots( slots )
    , _observers( slots.getAll() )
    , _next( newest )
    , _manager( manager )
    , _newest( newest )
    , _outer( innermost ) {
    if( _next != nullptr ) {
        _next->_previous = this;
    }
    newest = this;
    innermost = this;
}

ObPass::~ObPass() {
    innermost = _outer;
    if( _next != nullptr ) {
        _next->_previous = _previous;
    }
    ( _previous == nullptr ? _newest : _previous->_next ) = _next;
    ObRelations::release( &_slots );
}

const ObPass* ObPass::getInnermost() noexcept {
    return innermost;
}

} // namespace Qv
