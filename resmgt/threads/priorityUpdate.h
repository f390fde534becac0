#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// A client that wants to know the number of a Priority.
class QV_RESMGT_API PriorityUpdate {
public:
    /// May raise, so that a client whose own end does, as a thread's, can derive from it.
    virtual ~PriorityUpdate() noexcept( false );

    /// Gives the value after each change of the graph that holds, also where it is the former one.
    ///
    /// Lock:   the manager's is held. Don't take a lock that can be held by somebody who waits for
    ///         the manager, and don't wait for another thread that asks it.
    /// Manager: may be read from here, on this thread. A change asserts "!_isUpdating".
    /// Errors: what it raises goes to the code that changed the graph, after the other clients have
    ///         got their values.
    virtual void updatePriority( int prio ) = 0;
};

} // namespace Qv
