#pragma once

#include <resmgt/threads/mtThreadFactory.h>

namespace Qv {

/// Makes threads over POSIX threads.
class MtThreadFactoryPosix final : public MtThreadFactory {
public:
    OPtrRet<MtThread> createThread( const LiString& name, OPtr<MtThreadProtocol>& protocol,
                                    bool terminateOnUnhandled, int stackSize ) override;
    int getMinPriority() override;
    int getMaxPriority() override;
    OPtrRet<MtThread> createMainThread( const LiString& name, MtThreadMgr& mgr ) override;
};

} // namespace Qv
