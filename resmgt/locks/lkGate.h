#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkUnnamedSema.h>

#include <iosfwd>

namespace Qv {

/// Lets a number of threads, the gatees, meet again and again.
///
/// Without a keeper the last one to arrive opens the gate. With one, the last one hands the moment
/// to one more thread, which runs alone while all gatees are parked; they go on when its
/// LkGateKeeperGuard ends. A gatee that is early for the next meeting counts for that one.
///
/// Threads: any; one keeper at a time.
/// Errors:  a gatee too many, one that comes while the keeper runs, is the assertion
///          "_numReady < _numGatees". A gatee whose wait raises isn't at the gate, unless the
///          keeper runs already: it counts until that one opens.
class QV_RESMGT_API LkGate {
public:
    /// `name` is kept, not copied: it must outlive this object. Errors: the assertion
    /// "numGatees > 0".
    LkGate( const char* name, int numGatees, bool useGateKeeper );
    /// Takes what `gate` owns. No thread may be there; any further use of `gate` is an assertion.
    LkGate( LkGate& gate );
    LkGate& operator=( const LkGate& ) = delete;
    ~LkGate();

    /// The caller has arrived; returns when the gate has opened.
    void ready();
    /// Returns once the gate is full, or has been full since the call began. For threads that
    /// aren't gatees; they don't delay anybody.
    void observeGateReady();
    /// Whether the gate is full and waits for its keeper. Errors: the assertion "_useGateKeeper".
    bool isGateReady();
    const char* getName() const noexcept { return _name; }
    /// Writes the state, for people.
    void dump( std::ostream& stream ) const;

private:
    friend class LkGateKeeperGuard;

    const LkLock& getInternalLock() const QV_RETURN_CAPABILITY( *_internalLock );
    void waitGateReady();
    void releaseGate();
    void open() QV_REQUIRES( *_internalLock );
    void leave( unsigned int opening ) QV_REQUIRES( *_internalLock );

    const bool _useGateKeeper;
    const int _numGatees;
    int _numReady QV_GUARDED_BY( *_internalLock ) = 0;
    // How often it has been full, and open: so a waiter knows its time, also when the
    // next meeting has begun.
    unsigned int _nbFills QV_GUARDED_BY( *_internalLock ) = 0;
    unsigned int _nbOpenings QV_GUARDED_BY( *_internalLock ) = 0;
    // Null once another gate has taken them.
    OPtr<const LkLock> _internalLock;
    OPtr<const LkCondVar> _gateCondVar;
    OPtr<const LkCondVar> _observerCondVar;
    OPtr<LkUnnamedSema> _gateKeeper;
    const char* const _name;
};

/// The keeper's time: waits until the gate is full, and opens it with the end of the scope.
class QV_RESMGT_API LkGateKeeperGuard {
public:
    /// Errors: the assertion "_useGateKeeper".
    explicit LkGateKeeperGuard( LkGate& gate )
        : _gate( gate ) {
        _gate.waitGateReady();
    }
    LkGateKeeperGuard( const LkGateKeeperGuard& ) = delete;
    LkGateKeeperGuard& operator=( const LkGateKeeperGuard& ) = delete;
    ~LkGateKeeperGuard() { _gate.releaseGate(); }

private:
    LkGate& _gate;
};

} // namespace Qv
