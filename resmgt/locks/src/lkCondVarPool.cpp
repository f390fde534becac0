#include <resmgt/locks/lkCondVarPool.h>

#include <base/failure/assertions.h>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

template <class CondVar>
OPtrRet<CondVar> LkPulsePool<CondVar>::get() {
    const Guard guard( _lock );
    if( _recycled.empty() ) {
        return OPtr<CondVar>( new CondVar( _pulseName ) );
    }
    OPtr<CondVar> last( _recycled.back().release() );
    _recycled.pop_back();
    return last;
}

template <class CondVar>
void LkPulsePool<CondVar>::recycle( OPtr<CondVar>& condVar ) {
    QV_ASSERT( !condVar.isNull() );
    const Guard guard( _lock );
    _recycled.emplace_back();
    _recycled.back().reset( condVar.release() );
}

LkCondVarPool::LkCondVarPool()
    : _pool( "LkCondVarPool_lock", "LkCondVarPool_pulse" ) {}

LkCondVarPool::~LkCondVarPool() = default;

OPtrRet<LkCondVar> LkCondVarPool::getCondVar() {
    return _pool.get();
}

void LkCondVarPool::recycleCondVar( OPtr<LkCondVar>& condVar ) {
    _pool.recycle( condVar );
}

LkTimedCondVarPool::LkTimedCondVarPool()
    : _pool( "LkTimedCondVarPool_lock", "LkTimedCondVarPool_pulse" ) {}

LkTimedCondVarPool::~LkTimedCondVarPool() = default;

OPtrRet<LkTimedCondVar> LkTimedCondVarPool::getTimedCondVar() {
    return _pool.get();
}

void LkTimedCondVarPool::recycleTimedCondVar( OPtr<LkTimedCondVar>& condVar ) {
    _pool.recycle( condVar );
}

} // namespace Qv
