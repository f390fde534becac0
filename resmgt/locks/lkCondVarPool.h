#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkTimedCondVar.h>

#include <memory>
#include <vector>

namespace Qv {

/// The common part of both pools. Hands out the condition that was given back last, else a new one.
template <class CondVar>
class LkPulsePool {
public:
    LkPulsePool( const char* lockName, const char* pulseName ) noexcept
        : _pulseName( pulseName )
        , _lock( lockName ) {}

    /// A condition variable that nobody uses, a new one where the pool has none.
    OPtrRet<CondVar> get();
    /// Takes the condition variable back, on which nobody waits any more.
    void recycle( OPtr<CondVar>& condVar );

private:
    const char* const _pulseName;
    const LkLock _lock;
    std::vector<std::unique_ptr<CondVar>> _recycled QV_GUARDED_BY( _lock );
};

/// Keeps condition variables that short-lived records no longer need for the next records.
///
/// Threads:  any.
/// Lifetime: a condition that isn't back when the pool ends stays its holder's. The pool never
///           shrinks before.
class QV_RESMGT_API LkCondVarPool {
public:
    LkCondVarPool();
    LkCondVarPool( const LkCondVarPool& ) = delete;
    LkCondVarPool& operator=( const LkCondVarPool& ) = delete;
    ~LkCondVarPool();

    /// The one given back last, or a new one; the caller's.
    OPtrRet<LkCondVar> getCondVar();
    /// Takes it out of `condVar`. Nobody may wait on it; this isn't checked. Errors: the assertion
    /// "!condVar.isNull()"; after any failure `condVar` still owns it.
    void recycleCondVar( OPtr<LkCondVar>& condVar );

private:
    LkPulsePool<LkCondVar> _pool;
};

/// The same for those with a limit.
class QV_RESMGT_API LkTimedCondVarPool {
public:
    LkTimedCondVarPool();
    LkTimedCondVarPool( const LkTimedCondVarPool& ) = delete;
    LkTimedCondVarPool& operator=( const LkTimedCondVarPool& ) = delete;
    ~LkTimedCondVarPool();

    OPtrRet<LkTimedCondVar> getTimedCondVar();
    /// Takes the condition variable back, on which nobody waits any more.
    void recycleTimedCondVar( OPtr<LkTimedCondVar>& condVar );

private:
    LkPulsePool<LkTimedCondVar> _pool;
};

} // namespace Qv
