#include <resmgt/threads/mtPriorityMgr.h>

#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/threads/mtThreadFactory.h>

namespace Qv {

template class QV_RESMGT_API LkSingleton<MtPriorityMgr>;

MtPriorityMgr::MtPriorityMgr()
    : PriorityMgr( "MtPriorityMgr", MtThreadFactory::getInstance().getMinPriority(),
                   MtThreadFactory::getInstance().getMaxPriority() ) {}

MtPriorityMgr::~MtPriorityMgr() noexcept( false ) = default;

OPtrRet<MtPriorityMgr> MtPriorityMgr::createInstance() {
    return OPtr<MtPriorityMgr>( new MtPriorityMgr );
}

MtPriorityMgr& MtPriorityMgr::getInstance() {
    return LkSingleton<MtPriorityMgr>::getInstance();
}

} // namespace Qv
