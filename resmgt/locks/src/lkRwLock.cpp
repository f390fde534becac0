#include <resmgt/locks/lkRwLock.h>

#include <ostream>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;
using State = LkRwLockState;

} // namespace

LkRwLock::~LkRwLock() = default;

template <State::Mode mode>
void LkRwLock::lockSlowly() const {
    const Guard guard( _lock );
    _state.freeze();
    while( _state.mustWait<mode>() ) {
        wait<mode>( guard );
    }
    _state.enterFrozen<mode>();
}

template <State::Mode mode>
bool LkRwLock::tryLockSlowly() const {
    const Guard guard( _lock );
    _state.freeze();
    if( _state.mustWait<mode>() ) {
        _state.thaw();
        return false;
    }
    if( mode == State::READ ) {
        _state.addNewcomer();
    }
    _state.enterFrozen<mode>();
    return true;
}

template <State::Mode mode>
void LkRwLock::wait( const Guard& guard ) const {
    _state.beginWait<mode>();
    try {
        ( mode == State::READ ? _readers : _writers ).wait( guard );
    } catch( ... ) {
        wake( _state.giveUp<mode>() );
        throw;
    }
    _state.endWait<mode>();
}

void LkRwLock::unlockSlowly() const {
    do {
        const Guard guard( _lock );
        if( _state.beginLeave() ) {
            wake( _state.leaveFrozen() );
            return;
        }
    } while( !_state.leave<State::READ>() );
}

void LkRwLock::wake( State::Wake whom ) const {
    if( whom == State::ONE_WRITER ) {
        _writers.signal();
    } else if( whom == State::ALL_READERS ) {
        _readers.broadcast();
    }
}

int LkRwLock::getHeld() const {
    const Guard guard( _lock );
    return _state.getHeld();
}

void LkRwLock::dump( std::ostream& stream ) const {
    stream << "name " << getName() << " rwLock " << _state.getHeld() << " wr wait "
           << _state.getNbWaiters<State::WRITE>() << " rd wait "
           << _state.getNbWaiters<State::READ>();
}

template void LkRwLock::lockSlowly<State::READ>() const;
template void LkRwLock::lockSlowly<State::WRITE>() const;
template bool LkRwLock::tryLockSlowly<State::READ>() const;
template bool LkRwLock::tryLockSlowly<State::WRITE>() const;

} // namespace Qv
