#pragma once

#include <tools/qvcomp/workers.h>

#include <base/ownership/oPtr.h>
#include <resmgt/threads/priorityRelation.h>

#include <cstddef>
#include <optional>

namespace Qv::Comp {

/// A thread that does operations in the order in which they are posted, and never goes before the
/// computing ones.
///
/// Threads:  any thread posts.
/// Lifetime: the destructor lets the posted operations end first.
class AsyncWorker {
public:
    /// At most `maxPending` operations wait or run at one time; below 2 none are taken.
    AsyncWorker( Workers& computing, std::size_t maxPending );
    AsyncWorker( const AsyncWorker& ) = delete;
    AsyncWorker& operator=( const AsyncWorker& ) = delete;

    /// False when too many operations are pending; nothing has happened then. An operation raises
    /// nothing.
    template <class Operation>
    bool tryPost( Operation operation ) {
        return _producer && _producer->tryPush( std::move( operation ) );
    }
    MtPoolSnapshot getSnapshot() const;

private:
    std::unique_ptr<Workers> _workers;
    OPtr<PriorityRelation> _neverAbove;
    std::optional<Producer> _producer;
};

} // namespace Qv::Comp
