#include <resmgt/threads/src/posix/rtPrioritiesPosix.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/threads/mtPriorityMgr.h>

namespace Qv {

template class QV_RESMGT_API LkSingleton<RtPrioritiesPosix>;

namespace {

constexpr int BASE_LINE = 0;
constexpr int REAL_TIME = 1;
constexpr int INTERRUPT = 6;

} // namespace

RtPriorities::RtPriorities() = default;

RtPriorities::~RtPriorities() noexcept( false ) = default;

RtPriorities& RtPriorities::getInstance() {
    return LkSingleton<RtPrioritiesPosix>::getInstance();
}

RtPrioritiesPosix::RtPrioritiesPosix()
    : _baseLinePriority( "BaseLine", MtPriorityMgr::getInstance(), BASE_LINE )
    , _realTimePriority( "RealTime", MtPriorityMgr::getInstance(), REAL_TIME )
    , _interruptPriority( "Interrupt", MtPriorityMgr::getInstance(), INTERRUPT )
    , _processScopePriority( "rt-process-scope", MtPriorityMgr::getInstance() ) {
    QV_ASSERT( _baseLinePriority.getPriority() < _realTimePriority.getPriority() );
    QV_ASSERT( _realTimePriority.getPriority() < _interruptPriority.getPriority() );
}

OPtrRet<RtPrioritiesPosix> RtPrioritiesPosix::createInstance() {
    return OPtr<RtPrioritiesPosix>( new RtPrioritiesPosix );
}

Priority& RtPrioritiesPosix::getBaseLinePriority() {
    return _baseLinePriority;
}

Priority& RtPrioritiesPosix::getRealTimePriority() {
    return _realTimePriority;
}

Priority& RtPrioritiesPosix::getInterruptPriority() {
    return _interruptPriority;
}

Priority& RtPrioritiesPosix::getProcessScopePriority() {
    return _processScopePriority;
}

} // namespace Qv
