#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

class ObChangeManagerImp;
class ObObserverAny;
class ObSubjectAny;

/// Removes an observer at the end of a scope, or of the object that is the observer.
///
///     class View : public ObObserverAny {
///         ...
///         ObObserverGuard _subscriptions;   // the last member: removed before the others end
///     };
///
/// Errors:   the destructor may wait, as `removeObserver` does. If that raises, in the observer's
///           own call for instance, calls would reach a dead observer: the process ends, by
///           std::terminate. `remove` raises instead.
/// Lifetime: the manager outlives the guard or its `remove`.
/// Threads:  an object belongs to one thread at a time.
class QV_RESMGT_API ObObserverGuard {
public:
    ObObserverGuard( ObChangeManagerImp& manager, ObObserverAny* observer );
    ObObserverGuard( const ObObserverGuard& ) = delete;
    ObObserverGuard& operator=( const ObObserverGuard& ) = delete;
    ~ObObserverGuard();

    /// False if the observer is subscribed already. REQUIRES: before `remove`.
    bool subscribe( ObSubjectAny* subject );
    /// Removes now; the guard does nothing any more. After an exception it still guards.
    void remove();

private:
    ObChangeManagerImp& _manager;
    ObObserverAny* _observer;
};

} // namespace Qv
