#pragma once

#include <base/events/evEvent.h>

namespace Qv {

/// Takes events from any thread to the application's main thread. The application installs one; an
/// EvQueueEventManager will do for most.
///
/// Lifetime: installed before the threads that post, removed after them.
/// Threads:  `post` and the queries from any; installing and removing on the main thread.
class QV_BASE_API EvEventManager {
public:
    EvEventManager( const EvEventManager& ) = delete;
    EvEventManager& operator=( const EvEventManager& ) = delete;
    virtual ~EvEventManager();

    /// Errors: InSingletonEx::ExNotInitialized when none is installed.
    static EvEventManager& getInstance();
    static bool isInitialized() noexcept;

    /// Takes the event, which isn't null, and returns at once; the main thread executes it later,
    /// in the order of posting.
    virtual void post( OPtr<EvEvent> event ) = 0;

protected:
    EvEventManager() = default;

    /// Installs `manager`, which stays the caller's. Errors: InSingletonEx::ExAlreadyInitialized.
    static void initialize( EvEventManager* manager );
    /// Removes the one that is installed, if any.
    static void finalize() noexcept;
};

} // namespace Qv
