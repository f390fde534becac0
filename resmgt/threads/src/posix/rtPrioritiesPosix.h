#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/threads/rtPriorities.h>

namespace Qv {

/// The anchors, as nodes of MtPriorityMgr.
class RtPrioritiesPosix final : public RtPriorities {
public:
    RtPrioritiesPosix();

    static OPtrRet<RtPrioritiesPosix> createInstance();

    Priority& getBaseLinePriority() override;
    Priority& getRealTimePriority() override;
    Priority& getInterruptPriority() override;
    Priority& getProcessScopePriority() override;

private:
    Priority _baseLinePriority;
    Priority _realTimePriority;
    Priority _interruptPriority;
    ProcessScopePriority _processScopePriority;
};

} // namespace Qv
