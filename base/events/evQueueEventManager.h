#pragma once

#include <base/events/evEventManager.h>
#include <base/locks/lkLock.h>

#include <deque>
#include <functional>
#include <memory>

namespace Qv {

/// A queue that the application's main thread drains. Installed from construction to destruction.
///
///     EvQueueEventManager events( [&loop] { loop.wakeUp(); } );
///     while( loop.waitForWork() ) {
///         events.drain();
///     }
///
/// A loop in the system's `poll` is woken by an OsWakeUp.
///
/// Order:    events are executed in the order in which they were posted.
/// Lifetime: events that are left at the end are destroyed without being executed.
class QV_BASE_API EvQueueEventManager final : public EvEventManager {
public:
    /// Wakes a sleeping main loop: called after the first event that is posted since `drain` last
    /// began, on the posting thread, and after an event's exception when others are left. It must
    /// not throw.
    using WakeUp = std::function<void()>;

    /// `wakeUp` may be empty. Errors: as EvEventManager::initialize.
    explicit EvQueueEventManager( WakeUp wakeUp = nullptr );
    ~EvQueueEventManager() override;

    void post( OPtr<EvEvent> event ) override;
    /// Executes the events that are in the queue now, and returns their number; those that are
    /// posted meanwhile wait for the next time. May be called by an event.
    ///
    /// Errors:  what an event raises goes to the caller; that event is gone, the others stay.
    /// Threads: the main thread alone; no lock is held while an event runs or dies.
    int drain();

private:
    /// The number of the first event that the drain which begins leaves.
    unsigned long long beginDrain();
    /// Null when no event before the one with that number is left.
    std::unique_ptr<EvEvent> takeFirst( unsigned long long end );
    /// Wakes the main loop unless that has been done since `drain` last began.
    void wakeUpOnce();

    const WakeUp _wakeUp;
    const LkLock _lock{ "EvQueueEventManager" };
    std::deque<std::unique_ptr<EvEvent>> _queue QV_GUARDED_BY( _lock );
    /// Events are numbered as they are posted; this is the first one's in the queue.
    unsigned long long _firstNb QV_GUARDED_BY( _lock ) = 0;
    bool _isWoken QV_GUARDED_BY( _lock ) = false;
};

} // namespace Qv
