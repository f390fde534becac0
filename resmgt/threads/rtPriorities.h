#pragma once

#include <resmgt/resmgtApi.h>
#include <resmgt/threads/priority.h>

namespace Qv {

/// The node of what is as urgent as the process as a whole; recognised by its type.
class QV_RESMGT_API ProcessScopePriority : public Priority {
public:
    using Priority::Priority;
};

/// The anchors of the graph of threads' priorities. A subsystem places itself beside them:
///
///     PriorityRelation relation( "previews", previews.getPriority(), PriorityRelation::LESS,
///                                RtPriorities::getInstance().getRealTimePriority() );
///
/// Lifetime: made at first use, never destroyed; so a relation to them may end at any time.
/// Threads:  any.
class QV_RESMGT_API RtPriorities {
public:
    RtPriorities( const RtPriorities& ) = delete;
    RtPriorities& operator=( const RtPriorities& ) = delete;

    static RtPriorities& getInstance();

    virtual ~RtPriorities() noexcept( false );
    /// Fixed at 0, where ordinary threads begin.
    virtual Priority& getBaseLinePriority() = 0;
    /// Fixed at 1.
    virtual Priority& getRealTimePriority() = 0;
    /// Fixed at 6, the highest.
    virtual Priority& getInterruptPriority() = 0;
    /// Free.
    virtual Priority& getProcessScopePriority() = 0;

protected:
    RtPriorities();
};

} // namespace Qv
