#pragma once

#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/observers/obHints.h>
#include <resmgt/observers/obNotifierAny.h>

#include <deque>
#include <exception>
#include <functional>
#include <iosfwd>
#include <list>
#include <memory>

namespace Qv {

class ObPass;
class ObPasses;
class ObRelations;

/// Keeps the relations of subjects and observers, which know nothing of each other; `notify` has
/// the application's notifier call each observer of a subject.
///
///     ObChangeManagerImp manager( OPtr<ObNotifierAny>( new Notifier ) );
///     manager.subscribeRelation( &picture, &view );
///     manager.notify( &picture, ObHints().add<ObValueHint>() );
///     manager.removeObserver( &view );
///
/// A pass, which is what `notify` and each queued change begin, calls the observers that are
/// subscribed then, in the order of subscription, each once, unless it is removed meanwhile or the
/// notifier raises. An observer that is subscribed meanwhile isn't called. `unsubscribeRelation`
/// and `removeSubject` don't touch passes under way: these still call.
///
/// Removal:  once `removeObserver` has returned, no call of the observer runs or begins. From the
///           moment when it is called no call begins; a subscription of the observer that is made
///           meanwhile ends too. The observer, or another at its address, may be subscribed anew
///           afterwards, and is called by the passes that begin from then on.
/// Circles:  a removal that would wait for a call which its own thread is in, directly, through
///           nested passes, or because the thread that it waits for waits for this one, is an
///           assertion, also where several managers are concerned; nothing has changed then.
///           `removeObserverLater` is for that.
/// Order:    a pass that an observer begins ends first: the observers behind it see the newer
///           change before the older one. Passes of different threads run side by side.
/// Threads:  any, for everything. Several threads may call one observer at once. No lock is held
///           during `notifyObserver`; the other operations of the notifier run under the lock and
///           must not enter the manager, which is an assertion.
/// Errors:   null pointers are assertions. Without memory nothing has changed; but if a thread's
///           first wait, in `removeObserver`, gets none, the relations are gone, no call begins,
///           and those under way go on: call it again.
/// Lifetime: nobody may be inside when it is destroyed. Queued changes are lost then, and relations
///           end without a call.
/// Cost:     a pass takes the lock once, as it begins, and none per observer; the fifth and further
///           ones that are under way at a time take it as they end, too. A removal while passes are
///           under way pays with a barrier in all threads. Subscribing, unsubscribing and removing
///           don't depend on how many other relations there are; `unsubscribeRelation` and
///           `subscribeRelation` may copy the observers of a subject that is being notified.
class QV_RESMGT_API ObChangeManagerImp {
public:
    /// `notifier` isn't null.
    explicit ObChangeManagerImp( OPtr<ObNotifierAny> notifier );
    ObChangeManagerImp( const ObChangeManagerImp& ) = delete;
    ObChangeManagerImp& operator=( const ObChangeManagerImp& ) = delete;
    virtual ~ObChangeManagerImp();

    /// False if the observer is subscribed already.
    virtual bool subscribeRelation( ObSubjectAny* subject, ObObserverAny* observer );
    /// False if there is no such relation. Else the notifier is called: if this was the subject's
    /// last observer, `relationRemovedFromSubject`, and then `relationRemoved` in any case. The
    /// relation is gone before; what these raise, the first of it, goes to the caller.
    virtual bool unsubscribeRelation( ObSubjectAny* subject, ObObserverAny* observer );
    /// Ends the subject's relations and calls the notifier's `relationRemoved` for each, in the
    /// order of subscription; if that raises, all are called and the first exception goes to the
    /// caller. Queued changes of the subject are void, even if another object has its address
    /// later.
    virtual void removeSubject( ObSubjectAny* subject );
    /// Ends the observer's relations and waits until nobody is inside a call of it. The notifier
    /// isn't informed.
    virtual void removeObserver( ObObserverAny* observer );
    /// Begins a pass for each queued change, in the order of arrival, until the queue is empty. If
    /// one runs already, on this thread or another, it returns at once and leaves the work to that
    /// one. After an exception the rest waits for the next `dispatch`.
    virtual void dispatch();
    /// Calls the subject's observers.
    virtual void notify( ObSubjectAny* subject, const ObHints& hints );
    /// Queues the change with a copy of the hints. Its observers are those of the time when its
    /// turn comes.
    virtual void notifyNoDispatch( ObSubjectAny* subject, const ObHints& hints );

    /// As `removeObserver`, but doesn't wait, and may be called from the observer's own call.
    /// `done`, which may be empty, runs once when nobody is inside a call of the observer: before
    /// this returns, or on the thread that leaves the last call. It may destroy the observer and
    /// enter the manager; what it raises is reported through Trace and ends there.
    void removeObserverLater( ObObserverAny* observer, std::function<void()> done );

    /// One line: relations, subjects, queued changes, passes under way and observers that they
    /// call.
    void dump( std::ostream& stream ) const;

private:
    struct Record;
    struct Removal;
    class PassScope;
    using Guard = LkGuard<const LkLock>;

    void checkEntryNoLock() const QV_REQUIRES( _lock );
    void observerNotified( ObPass& pass );
    void notificationCompleted( ObPass& pass, bool isOnStack ) noexcept;
    std::list<Removal> observerNotifiedNoLock() QV_REQUIRES( _lock );
    void unsubscribeObserverNoLock( ObObserverAny* observer ) noexcept QV_REQUIRES( _lock );
    bool dispatchFirst();
    void dispatchCompletedNoLock() noexcept QV_REQUIRES( _lock ) { _dispatching = false; }
    void barrierToPassesNoLock() const noexcept QV_REQUIRES( _lock );
    bool isBeingNotifiedNoLock( const ObObserverAny* observer ) const noexcept QV_REQUIRES( _lock );
    bool isBeingRemovedNoLock( const ObObserverAny* observer ) const noexcept QV_REQUIRES( _lock );
    void waitUntilNotifiedNoLock( std::list<Removal>& removal, const Guard& guard )
        QV_REQUIRES( _lock );
    template <class Call>
    void tellNoLock( std::exception_ptr& failure, const Call& call ) QV_REQUIRES( _lock );

    const OPtr<ObNotifierAny> _notifier;
    const LkLock _lock{ "change-manager" };
    const LkCondVar _observersNotifiedRemoved{ "observers-notified-removed" };
    /// Whether the notifier hears of an ended relation: only then can a thread enter that holds the
    /// lock.
    bool _isTelling QV_GUARDED_BY( _lock ) = false;
    bool _dispatching QV_GUARDED_BY( _lock ) = false;
    const std::unique_ptr<ObPasses> _passes QV_PT_GUARDED_BY( _lock );
    const std::unique_ptr<ObRelations> _relations QV_PT_GUARDED_BY( _lock );
    std::list<Removal> _removals QV_GUARDED_BY( _lock );
    std::deque<Record> _queue QV_GUARDED_BY( _lock );
};

} // namespace Qv
