#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/locks/lkCondVar.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <thread>

namespace Qv::Comp {

/// A thread that does operations in the order in which they are posted.
///
/// Threads:  any thread posts.
/// Lifetime: the destructor lets the posted operations end first.
class AsyncWorker {
public:
    /// An operation raises nothing.
    using Operation = std::function<void()>;

    /// At most `maxPending` operations wait or run at one time.
    explicit AsyncWorker( std::size_t maxPending );
    AsyncWorker( const AsyncWorker& ) = delete;
    AsyncWorker& operator=( const AsyncWorker& ) = delete;
    ~AsyncWorker();

    /// False when too many operations are pending; nothing has happened then.
    bool tryPost( Operation operation );

private:
    void run();
    /// The operation whose turn it is, which stays in its place; null at the end.
    const Operation* waitForOperation();

    const std::size_t _maxPending;
    LkLock _lock;
    LkCondVar _posted;
    /// The first one is the one at work.
    std::deque<Operation> _pending QV_GUARDED_BY( _lock );
    bool _mustEnd QV_GUARDED_BY( _lock ) = false;
    std::thread _thread;
};

} // namespace Qv::Comp
