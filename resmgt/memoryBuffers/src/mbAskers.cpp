#include <resmgt/memoryBuffers/src/mbAskers.h>

#include <algorithm>

namespace Qv {

void MbAskers::enter( Asker& asker ) noexcept {
    asker._isIn = true;
    asker._previous = _last;
    ( _last != nullptr ? _last->_next : _first ) = &asker;
    _last = &asker;
    _nbAskers.fetch_add( 1, std::memory_order_seq_cst );
}

bool MbAskers::leave( Asker& asker ) noexcept {
    const bool wasAlone = _first == &asker && isFirstAlone();
    ( asker._previous != nullptr ? asker._previous->_next : _first ) = asker._next;
    ( asker._next != nullptr ? asker._next->_previous : _last ) = asker._previous;
    asker._previous = nullptr;
    asker._next = nullptr;
    asker._isIn = false;
    _nbAskers.fetch_sub( 1, std::memory_order_relaxed );
    return wasAlone;
}

void MbAskers::mark( Asker& asker ) noexcept {
    asker._isAsleep = false;
    asker._isWoken = true;
}

MbAskers::Asker* MbAskers::takeReturn() noexcept {
    countReturn();
    for( Asker* asker = _first; asker != nullptr; asker = asker->_next ) {
        if( asker->_isAsleep && !mustWait( *asker ) ) {
            mark( *asker );
            return asker;
        }
    }
    return nullptr;
}

void MbAskers::countServed( const Asker& asker ) noexcept {
    if( _first != nullptr && _first != &asker ) {
        ++_first->_nbOvertaken;
    }
}

bool MbAskers::isFirstAlone() const noexcept {
    return _first != nullptr && _first->_nbOvertaken >= _first->_maxOvertaken;
}

bool MbAskers::mustWait( const Asker& asker ) const noexcept {
    // What the first one's own thread asks for beside it is for the unloading of its victim.
    return isFirstAlone() && !asker._mayOvertake && !( asker._thread == _first->_thread );
}

void MbAskers::letOvertake( unsigned long thread ) noexcept {
    for( Asker* asker = _first; asker != nullptr; asker = asker->_next ) {
        asker->_mayOvertake = asker->_mayOvertake || asker->_thread.getNum() == thread;
    }
}

void MbAskers::letAllOvertake() noexcept {
    constexpr unsigned MOST = 1u << 30;
    _first->_nbOvertaken = 0;
    _first->_maxOvertaken = std::min( 2 * _first->_maxOvertaken, MOST );
}

bool MbAskers::Asker::takeWakeUp() {
    _isAsleep = false;
    if( !_isWoken ) {
        return false;
    }
    // Whoever has marked it sets the event without the lock, maybe only now.
    _event.wait();
    _event.reset();
    _isWoken = false;
    return true;
}

} // namespace Qv
