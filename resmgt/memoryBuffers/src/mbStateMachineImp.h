#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv {

/// An instance of each state, for one pair of flags.
class MbStateSetMachine : public MbStateMachine {
public:
    const MbState* getInitialState() const override { return getState( MbStates::FREED ); }
    const MbState* getState( MbStates::StateId id ) const { return _set.table[id].get(); }

protected:
    MbStateSetMachine( bool isTraced, bool isRelaxed );

private:
    MbStates::StateSet _set;
};

/// One of the four machines: a type each, so that each is a singleton of its own.
template <bool IS_UNTRACED, bool IS_RELAXED>
class MbStateMachineImp final : public MbStateSetMachine {
public:
    static OPtrRet<MbStateMachineImp> createInstance() {
        return OPtr<MbStateMachineImp>( new MbStateMachineImp );
    }

private:
    MbStateMachineImp()
        : MbStateSetMachine( !IS_UNTRACED, IS_RELAXED ) {}
};

} // namespace Qv
