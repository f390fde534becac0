#include <resmgt/memoryBuffers/mbStateMachine.h>

#include <base/failure/qvHere.h>
#include <base/text/typeName.h>
#include <base/trace/traceManager.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/memoryBuffers/src/mbStateMachineImp.h>

#include <sstream>

namespace Qv {

namespace {

EnvIntVar readWhileAsyncSync( "resmgt/memoryBuffers/src/mbStateMachine.cpp",
                              "QV_READ_WHILE_ASYNC_SYNC", 1 );

/// As the environment is now. One machine is built at a time.
bool mayReadWhileAsyncSync() {
    readWhileAsyncSync.refresh();
    return readWhileAsyncSync.getValue() != 0;
}

void traceAsyncSyncState( const MbState& state ) {
    if( MbStateTrace::isEnabled() ) {
        std::ostringstream text;
        text << "typeid( *_asyncSyncState ).name(): " << TypeName::get( typeid( state ) );
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

} // namespace

MbStateMachine::~MbStateMachine() = default;

MbStateSetMachine::MbStateSetMachine( bool isTraced, bool isRelaxed )
    : _set{ isTraced, isRelaxed, mayReadWhileAsyncSync() } {
    using namespace MbStates;
    addUnlockedStates( _set );
    addLockedStates( _set );
    addTransientStates( _set );
    traceAsyncSyncState(
        *getState( _set.mayReadWhileAsyncSync ? WAIT_ASYNC_SYNCHED_LOADED : WAIT_ASYNC_SYNCHED ) );
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
