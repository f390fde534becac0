#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// A set of threads that adapts itself to the number of processors; entered by
/// MtThreadMgr::addGroup.
class QV_RESMGT_API MtThreadGroup {
public:
    MtThreadGroup() = default;
    MtThreadGroup( const MtThreadGroup& ) = delete;
    MtThreadGroup& operator=( const MtThreadGroup& ) = delete;
    virtual ~MtThreadGroup();

    /// The number of processors has changed. Posix: never called.
    virtual void nbProcessorsChanged( int nbProcessors ) = 0;
};

} // namespace Qv
