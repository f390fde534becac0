#pragma once

#include <base/trace/traceManager.h>
#include <resmgt/locks/lkThreadOpaqueData.h>

namespace Qv {

/// Gives each thread its trace as thread-local data, in the slot "MtTraceMgr". Its lines go through
/// LgTrace.
///
/// Without: a thread whose data has been freed for good, and one without memory for its trace, uses
///          the manager that was in force before, which must outlive this one.
class MtTraceMgr final : public TraceManager {
public:
    /// In force from now until its destruction.
    MtTraceMgr();
    ~MtTraceMgr() override;

    Trace& getTrace() override;

private:
    explicit MtTraceMgr( TraceManager& former );

    TraceManager& _former;
    const RCShdPtr<LkThreadOpaqueData> _traces;
};

} // namespace Qv
