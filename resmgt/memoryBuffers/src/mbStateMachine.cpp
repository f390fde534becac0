#include <resmgt/memoryBuffers/mbStateMachine.h>

#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/memoryBuffers/src/mbStateMachineImp.h>
#include <resmgt/memoryBuffers/src/mbTypeName.h>

#include <sstream>

namespace Qv {

namespace {

EnvIntVar readWhileAsyncSync( "resmgt/memoryBuffers/src/mbStateMachine.cpp",
                              "QV_READ_WHILE_ASYNC_SYNC", 1 );

void traceAsyncSyncState( const MbState& state ) {
    if( MbStateTrace::isEnabled() ) {
        std::ostringstream text;
        text << "typeid( *_asyncSyncState ).name(): " << mbTypeName( typeid( state ) );
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

} // namespace

MbStateMachine::~MbStateMachine() = default;

template <bool IS_UNTRACED, bool IS_RELAXED>
MbStateMachineImp<IS_UNTRACED, IS_RELAXED>::MbStateMachineImp()
    : _loaded( _states, readWhileAsyncSync.getValue() != 0
                            ? static_cast<const MbState*>( &_waitAsyncSynchedLoaded )
                            : &_waitAsyncSynched ) {
    using namespace MbStates;
    _states[FREED] = &_freed;
    _states[UNLOADED] = &_unloaded;
    _states[SYNCHED] = &_synched;
    _states[LOADED] = &_loaded;
    _states[DESTROYED] = &_destroyed;
    _states[LOCKED] = &_locked;
    _states[LOCKED_DIRTY] = &_lockedDirty;
    _states[LOCKED_FREED] = &_lockedFreed;
    _states[LOCKED_FREED_DIRTY] = &_lockedFreedDirty;
    _states[RD_LOCKED] = &_rdLocked;
    _states[RD_LOCKED_DIRTY] = &_rdLockedDirty;
    _states[RD_LOCKED_FREED] = &_rdLockedFreed;
    _states[WR_LOCKED] = &_wrLocked;
    _states[WR_LOCKED_FREED] = &_wrLockedFreed;
    _states[WAIT_ASYNC_SYNCHED_RD_LOCKED] = &_waitAsyncSynchedRdLocked;
    _states[TRANSIENT] = &_transientState;
    _states[WAIT_ASYNC_LOADED] = &_waitAsyncLoaded;
    _states[WAIT_ASYNC_RELOADED] = &_waitAsyncReloaded;
    _states[WAIT_ASYNC_SYNCHED] = &_waitAsyncSynched;
    _states[WAIT_ASYNC_SYNCHED_LOADED] = &_waitAsyncSynchedLoaded;
    traceAsyncSyncState( *_loaded.getAsyncSyncState() );
}

template class LkSingleton<MbStateMachineImp<false, false>>;
template class LkSingleton<MbStateMachineImp<false, true>>;
template class LkSingleton<MbStateMachineImp<true, false>>;
template class LkSingleton<MbStateMachineImp<true, true>>;

MbStateMachine& MbStateMachine::getInstance( Trace_e trace, LockPolicy_e policy ) {
    if( trace == 0 ) {
        if( policy == 0 ) {
            return LkSingleton<MbStateMachineImp<false, false>>::getInstance();
        }
        return LkSingleton<MbStateMachineImp<false, true>>::getInstance();
    }
    if( policy == 0 ) {
        return LkSingleton<MbStateMachineImp<true, false>>::getInstance();
    }
    return LkSingleton<MbStateMachineImp<true, true>>::getInstance();
}

} // namespace Qv
