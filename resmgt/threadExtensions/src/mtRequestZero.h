#pragma once

#include <base/ownership/rcBase.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkTimedCondVar.h>

#include <cstdint>

namespace Qv {

/// What the waiters for the zero of one tag wait on. Each waiter shares it, since its tag may be
/// released before it has returned.
///
/// Lock: the manager's, for all of it.
class MtRequestZero : public RCBase<LkCounter<int>> {
public:
    // A waiter whose wait raises wakes the others: each looks for the zero.
    void wait( const LkLock& lock ) const QV_REQUIRES( lock ) {
        const std::uint64_t nbZeros = _nbZeros;
        while( _nbZeros == nbZeros ) {
            _condVar.wait( lock );
        }
    }
    /// False when the time ran out before a zero.
    bool timedWait( const LkLock& lock, double seconds ) const QV_REQUIRES( lock ) {
        const std::uint64_t nbZeros = _nbZeros;
        return _timedCondVar.timedWait( lock, seconds ) || _nbZeros != nbZeros;
    }
    std::uint64_t getNbZeros() const noexcept { return _nbZeros; }
    void wakeAll() {
        ++_nbZeros;
        _condVar.broadcast();
        _timedCondVar.broadcast();
    }

private:
    const LkCondVar _condVar{ "RequestZero" };
    // For the waits with a limit only.
    const LkTimedCondVar _timedCondVar{ "RequestZero" };
    // A zero may come just as a waiter's time runs out.
    std::uint64_t _nbZeros = 0;
};

} // namespace Qv
