#include <resmgt/observers/src/obPass.h>

namespace Qv {

thread_local constinit ObPass* innermostPass = nullptr;

void ObPass::begin( const ObChangeManagerImp& manager, ObSlots& slots ) noexcept {
    if( _slots != &slots ) {
        leaveSlots();
        slots.addUser();
        _slots = &slots;
    }
    _manager = &manager;
    _observers = slots.getAll();
    _thread = ThreadNumber::get();
    _outer = innermostPass;
    innermostPass = this;
    _marks.store( ( slots.hasGaps() ? HAS_GAPS : 0u ) |
                      ( LkBarrier::isNeededInFull() ? NEEDS_BARRIER : 0u ),
                  std::memory_order_relaxed );
    _isUnderWay.store( true, std::memory_order_relaxed );
}

void ObPass::leaveSlots() noexcept {
    if( _slots != nullptr ) {
        ObRelations::release( _slots );
        _slots = nullptr;
    }
}

ObPasses::ObPasses() noexcept {
    for( Place& place : _places ) {
        insert( place );
    }
}

ObPasses::~ObPasses() {
    reap();
}

ObPass* ObPasses::findPlace() noexcept {
    for( Place& place : _places ) {
        if( !place.isUnderWay() ) {
            return &place;
        }
    }
    return nullptr;
}

void ObPasses::insert( ObPass& pass ) noexcept {
    pass._next = _first;
    if( _first != nullptr ) {
        _first->_previous = &pass;
    }
    _first = &pass;
}

void ObPasses::erase( ObPass& pass ) noexcept {
    pass.leaveSlots();
    if( pass._next != nullptr ) {
        pass._next->_previous = pass._previous;
    }
    ( pass._previous == nullptr ? _first : pass._previous->_next ) = pass._next;
}

ObPass* ObPasses::skipEnded( ObPass* pass ) noexcept {
    while( pass != nullptr && !pass->isUnderWay() ) {
        pass = pass->_next;
    }
    return pass;
}

void ObPasses::reap() noexcept {
    for( ObPass* pass = _first; pass != nullptr; pass = pass->_next ) {
        if( !pass->isUnderWay() ) {
            pass->leaveSlots();
        }
    }
}

} // namespace Qv
