#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/src/mbStatesLocked.h>
#include <resmgt/memoryBuffers/src/mbStatesTransient.h>
#include <resmgt/memoryBuffers/src/mbStatesUnlocked.h>

namespace Qv {

/// One of the four machines: an instance of each state with its two flags.
// The base's enumerators would hide template parameters named as those of the states.
template <bool IS_UNTRACED, bool IS_RELAXED>
class MbStateMachineImp final : public MbStateMachine {
public:
    static OPtrRet<MbStateMachineImp> createInstance() {
        return OPtr<MbStateMachineImp>( new MbStateMachineImp );
    }

    const MbState* getInitialState() const override { return &_freed; }
    const MbStates::StateTable& getStates() const { return _states; }

private:
    template <template <bool, bool> class State>
    using StateOf = State<IS_UNTRACED, IS_RELAXED>;

    MbStateMachineImp();

    MbStates::StateTable _states{};
    const StateOf<MbStates::Freed> _freed{ _states };
    const StateOf<MbStates::Unloaded> _unloaded{ _states };
    const StateOf<MbStates::Synched> _synched{ _states };
    const StateOf<MbStates::Destroyed> _destroyed{ _states };
    const StateOf<MbStates::Locked> _locked{ _states };
    const StateOf<MbStates::LockedDirty> _lockedDirty{ _states };
    const StateOf<MbStates::LockedFreed> _lockedFreed{ _states };
    const StateOf<MbStates::LockedFreedDirty> _lockedFreedDirty{ _states };
    const StateOf<MbStates::RdLocked> _rdLocked{ _states };
    const StateOf<MbStates::RdLockedDirty> _rdLockedDirty{ _states };
    const StateOf<MbStates::RdLockedFreed> _rdLockedFreed{ _states };
    const StateOf<MbStates::WrLocked> _wrLocked{ _states };
    const StateOf<MbStates::WrLockedFreed> _wrLockedFreed{ _states };
    const StateOf<MbStates::WaitAsyncSynchedRdLocked> _waitAsyncSynchedRdLocked{ _states };
    const StateOf<MbStates::TransientState> _transientState{ _states };
    const StateOf<MbStates::WaitAsyncLoaded> _waitAsyncLoaded{ _states };
    const StateOf<MbStates::WaitAsyncReloaded> _waitAsyncReloaded{ _states };
    const StateOf<MbStates::WaitAsyncSynched> _waitAsyncSynched{ _states };
    const StateOf<MbStates::WaitAsyncSynchedLoaded> _waitAsyncSynchedLoaded{ _states };
    const StateOf<MbStates::Loaded> _loaded;
};

} // namespace Qv
