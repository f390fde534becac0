#include <resmgt/locks/lkGate.h>

#include <base/failure/assertions.h>

#include <ostream>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

template <class Pointer>
const char* stateOf( const Pointer& owned ) {
    return owned.isNull() ? "not set" : "set";
}

} // namespace

LkGate::LkGate( const char* name, int numGatees, bool useGateKeeper )
    : _useGateKeeper( useGateKeeper )
    , _numGatees( numGatees )
    , _internalLock( new LkLock( "GateInternal" ) )
    , _gateCondVar( new LkCondVar( "Gate" ) )
    , _observerCondVar( new LkCondVar( "GateObservers" ) )
    , _name( name ) {
    if( useGateKeeper ) {
        _gateKeeper.reset( new LkUnnamedSema( "GateKeeper", 0, LkSemaTypes::NOT_SHARED ) );
        QV_SYS_ASSERT( _gateKeeper->isValid(), _gateKeeper->getErrno() );
    }
    QV_ASSERT( numGatees > 0 );
}

LkGate::LkGate( LkGate& gate )
    : _useGateKeeper( gate._useGateKeeper )
    , _numGatees( gate._numGatees )
    , _name( gate._name ) {
    {
        const Guard guard( gate.getInternalLock() );
        QV_ASSERT( gate._numReady == 0 );
    }
    _internalLock = gate._internalLock;
    _gateCondVar = gate._gateCondVar;
    _observerCondVar = gate._observerCondVar;
    _gateKeeper = gate._gateKeeper;
}

LkGate::~LkGate() = default;

const LkLock& LkGate::getInternalLock() const {
    QV_ASSERT( !_internalLock.isNull() );
    return *_internalLock;
}

void LkGate::ready() {
    const Guard guard( getInternalLock() );
    QV_ASSERT( _numReady < _numGatees );
    const unsigned int opening = _nbOpenings;
    if( ++_numReady == _numGatees ) {
        ++_nbFills;
        _observerCondVar->broadcast();
        if( !_useGateKeeper ) {
            open();
            return;
        }
        _gateKeeper->post();
    }
    try {
        while( _nbOpenings == opening ) {
            _gateCondVar->wait( guard );
        }
    } catch( ... ) {
        leave( opening );
        throw;
    }
}

void LkGate::open() {
    _numReady = 0;
    ++_nbOpenings;
    _gateCondVar->broadcast();
}

void LkGate::leave( unsigned int opening ) {
    if( _nbOpenings != opening ) {
        return;
    }
    // A full gate's moment is taken back, unless the keeper has it already.
    if( _numReady < _numGatees || _gateKeeper->tryWait() ) {
        --_numReady;
    }
}

void LkGate::observeGateReady() {
    const Guard guard( getInternalLock() );
    const unsigned int fill = _nbFills;
    while( _numReady != _numGatees && _nbFills == fill ) {
        _observerCondVar->wait( guard );
    }
}

bool LkGate::isGateReady() {
    QV_ASSERT( _useGateKeeper );
    // Two at a time would hide the count from each other.
    const Guard guard( getInternalLock() );
    const bool isReady = _gateKeeper->tryWait();
    if( isReady ) {
        _gateKeeper->post();
    }
    return isReady;
}

void LkGate::waitGateReady() {
    QV_ASSERT( _useGateKeeper );
    static_cast<void>( getInternalLock() );
    _gateKeeper->wait();
    const Guard guard( getInternalLock() );
    QV_ASSERT( ( *_gateKeeper ).tryWait() == false );
    QV_ASSERT( _numReady == _numGatees );
}

void LkGate::releaseGate() {
    QV_ASSERT( _useGateKeeper );
    const Guard guard( getInternalLock() );
    open();
}

void LkGate::dump( std::ostream& stream ) const {
    int numReady = 0;
    if( !_internalLock.isNull() ) {
        const Guard guard( *_internalLock );
        numReady = _numReady;
    }
    stream << _name << ": gatekeeper: " << ( _useGateKeeper ? "yes" : "no" )
           << ", num gatees: " << _numGatees << "\nCurrent state: num ready: " << numReady
           << "\nInternal lock: " << stateOf( _internalLock )
           << "\nGate cond var: " << stateOf( _gateCondVar )
           << "\nGatekeeper sema: " << ( _useGateKeeper ? stateOf( _gateKeeper ) : "unused" );
}

} // namespace Qv
