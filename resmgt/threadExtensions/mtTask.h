#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/threadExtensions/mtRequestBase.h>

namespace Qv {

/// The work of an MtTask, shared by its copies.
class QV_RESMGT_API MtTaskImp : public RCBase<LkCounter<int>> {
protected:
    ~MtTaskImp() override;

private:
    template <class T>
    friend void Ownership::destroy( T* object ) noexcept;
    friend class MtTask;

    /// Runs on a worker of the group, where an exception that leaves it ends the process.
    virtual void perform() = 0;
};

/// An item of an MtGroup that owns its work.
class QV_RESMGT_API MtTask : public MtRequestBase {
public:
    /// Does nothing.
    MtTask() noexcept = default;
    /// `imp` may be null.
    MtTask( const MtRequestTag& tag, const RCShdPtr<MtTaskImp>& imp ) noexcept
        : MtRequestBase( tag )
        , _imp( imp ) {}
    MtTask( const MtTask& ) noexcept = default;
    MtTask( MtTask&& ) noexcept = default;
    MtTask& operator=( const MtTask& ) noexcept = default;
    MtTask& operator=( MtTask&& ) noexcept = default;
    ~MtTask() override = default;

    /// Does the work.
    void execute() {
        if( _imp ) {
            _imp->perform();
        }
    }

private:
    RCShdPtr<MtTaskImp> _imp;
};

} // namespace Qv
