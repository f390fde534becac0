#pragma once

#include <base/ownership/ownershipDelete.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class ObHints;
class ObObserverAny;
class ObSubjectAny;

/// How an application's observers are called; its change manager owns one.
///
///     class Notifier final : public ObNotifierAny {
///         void notifyObserver( ObObserverAny* observer, const ObHints& hints ) override {
///             static_cast<Observer*>( observer )->update( hints );
///         }
///         void relationRemovedFromSubject( ObObserverAny*, ObSubjectAny* ) override {}
///         void relationRemoved( ObObserverAny*, ObSubjectAny* ) override {}
///     };
///
/// Threads: each operation runs on the thread that notifies or unsubscribes. Several threads may be
///          in `notifyObserver` at once, also for one observer.
class QV_RESMGT_API ObNotifierAny {
protected:
    ObNotifierAny() = default;
    // The first of the virtual operations.
    virtual ~ObNotifierAny();

public:
    ObNotifierAny( const ObNotifierAny& ) = delete;
    ObNotifierAny& operator=( const ObNotifierAny& ) = delete;

    /// A change. No lock of the manager's is held: the observer may call it, and notify again. An
    /// exception ends the pass and goes to the caller of the notification.
    virtual void notifyObserver( ObObserverAny* observer, const ObHints& hints ) = 0;
    /// `unsubscribeRelation` has taken the subject's last observer, this one; comes before
    /// `relationRemoved`. Runs under the manager's lock: to enter the manager is an assertion.
    virtual void relationRemovedFromSubject( ObObserverAny* observer, ObSubjectAny* subject ) = 0;
    /// `unsubscribeRelation` or `removeSubject` has ended the relation. Under the lock, as above.
    virtual void relationRemoved( ObObserverAny* observer, ObSubjectAny* subject ) = 0;

private:
    friend void Ownership::destroy<ObNotifierAny>( ObNotifierAny* ) noexcept;
};

} // namespace Qv
