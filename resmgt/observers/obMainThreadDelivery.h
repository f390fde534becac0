#pragma once

#include <resmgt/observers/obChangeManagerImp.h>

#include <memory>

namespace Qv {

/// Brings changes from any thread to observers on the application's main thread, by way of its
/// EvEventManager.
///
///     ObMainThreadDelivery delivery( manager );      // the main thread
///     delivery.notify( &picture, hints );            // any thread, returns at once
///
/// However many changes are queued, one event is pending at most; it dispatches what is there then
/// and what comes meanwhile. After an observer's exception, which goes to the code that executes
/// the event, another event brings the rest; if that can't be posted, the next change does.
///
/// Threads:  `notify` from any. Made and destroyed on the main thread, where alone the manager's
///           `dispatch` is called, by this or by others; an event that is pending then does
///           nothing.
/// Lifetime: the manager outlives it; no `notify` is under way at its end.
class QV_RESMGT_API ObMainThreadDelivery {
public:
    explicit ObMainThreadDelivery( ObChangeManagerImp& manager );
    ObMainThreadDelivery( const ObMainThreadDelivery& ) = delete;
    ObMainThreadDelivery& operator=( const ObMainThreadDelivery& ) = delete;
    ~ObMainThreadDelivery();

    /// Queues the change and posts an event unless one is pending.
    ///
    /// Errors: those of EvEventManager's `getInstance` and `post`; the change is queued then, and
    ///         comes with the next one.
    void notify( ObSubjectAny* subject, const ObHints& hints );

private:
    class DispatchEvent;
    class Link;

    const std::shared_ptr<Link> _link;
};

} // namespace Qv
