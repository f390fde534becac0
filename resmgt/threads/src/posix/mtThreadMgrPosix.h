#pragma once

#include <resmgt/threads/src/mtThreadMgrImp.h>
#include <resmgt/threads/src/posix/mtSchedulerPosix.h>

namespace Qv {

/// The platform's part of the manager: what real time is.
class MtThreadMgrPosix final : public MtThreadMgrImp {
public:
    MtThreadMgrPosix();

    void dump( std::ostream& stream ) override;
    /// Groups aren't informed on this platform.
    void nbProcessorsChanged( int nbProcessors ) override;

private:
    bool enableRealTime() QV_REQUIRES( _lock ) override;
    void disableRealTime() QV_REQUIRES( _lock ) override;
    bool applyToThreads() QV_REQUIRES( _lock );
    void lower( const MtSchedulerPosix::Formers& formers ) QV_REQUIRES( _lock );
};

} // namespace Qv
