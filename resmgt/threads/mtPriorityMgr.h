#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/threads/priorityMgr.h>

namespace Qv {

template <class T>
class LkSingleton;

/// The priorities of the process's threads, from MtThreadFactory's getMinPriority to
/// getMaxPriority. Built on first use, never destroyed.
class QV_RESMGT_API MtPriorityMgr : public PriorityMgr {
public:
    static MtPriorityMgr& getInstance();
    ~MtPriorityMgr() noexcept( false ) override;

private:
    friend class LkSingleton<MtPriorityMgr>;

    MtPriorityMgr();
    static OPtrRet<MtPriorityMgr> createInstance();
};

} // namespace Qv
