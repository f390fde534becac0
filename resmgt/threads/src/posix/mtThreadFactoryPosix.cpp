#include <resmgt/threads/src/posix/mtThreadFactoryPosix.h>

#include <resmgt/threads/mtThreadMgr.h>
#include <resmgt/threads/src/posix/mtSchedulerPosix.h>
#include <resmgt/threads/src/posix/mtThreadPosix.h>

namespace Qv {

MtThreadFactory::MtThreadFactory() = default;

MtThreadFactory::~MtThreadFactory() = default;

MtThreadFactory& MtThreadFactory::getInstance() {
    // Never destroyed: threads may still be made while the process ends.
    static MtThreadFactoryPosix* const instance = new MtThreadFactoryPosix;
    return *instance;
}

OPtrRet<MtThread> MtThreadFactoryPosix::createThread( const LiString& name,
                                                      OPtr<MtThreadProtocol>& protocol,
                                                      bool terminateOnUnhandled, int stackSize ) {
    return OPtr<MtThread>( new MtThreadPosix( name, protocol, MtThreadMgr::getInstance(), true,
                                              terminateOnUnhandled, stackSize ) );
}

int MtThreadFactoryPosix::getMinPriority() {
    return 0;
}

int MtThreadFactoryPosix::getMaxPriority() {
    return MtSchedulerPosix::NB_LEVELS - 1;
}

OPtrRet<MtThread> MtThreadFactoryPosix::createMainThread( const LiString& name, MtThreadMgr& mgr ) {
    OPtr<MtThreadProtocol> none;
    return OPtr<MtThread>( new MtThreadPosix( name, none, mgr, false, true, 0 ) );
}

} // namespace Qv
