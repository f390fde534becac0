#pragma once

#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <base/ownership/rcShdPtr.h>
#include <base/trace/trace.h>
#include <resmgt/threadExtensions/mtAdapterContainer.h>
#include <resmgt/threadExtensions/mtContainerBase.h>
#include <resmgt/threadExtensions/mtContainerObserver.h>
#include <resmgt/threadExtensions/mtRequestTag.h>

#include <limits>

namespace Qv {

/// The bounded queue of an MtGroup.
///
/// Limit:  a push waits while there are as many items as the maximum; one that is made by what
///         would empty the container, a worker of the group for instance, goes past the limit.
/// Locks:  one operation a step. Observers and the destructors of items run without the lock.
/// Errors: a push that raises has pushed nothing. A maximum of 0 is an assertion.
template <class Container, class Adapter = MtAdapterContainer<Container>>
class QV_TEMPLATE_API MtContainer : private MtContainerBase {
public:
    /// A request.
    using Item = typename Adapter::Item;
    /// Questions and reports about requests.
    using Observer = MtContainerObserver<Container, Adapter>;
    using MtContainerBase::DEFAULT_MAXIMUM_SIZE;

    /// No limit of time.
    static constexpr double NO_LIMIT = std::numeric_limits<double>::infinity();

    MtContainer() = default;
    /// Informs the observer.
    ~MtContainer();

    /// Takes effect at once, also for those who wait.
    void setMaximumSize( std::uint32_t maximumSize );
    std::uint32_t getMaximumSize() const;
    std::uint32_t getSize() const;
    /// `observer` may be null. What is under way may still reach the former one.
    void setObserver( const RCShdPtr<Observer>& observer );

private:
    template <class, class>
    friend class MtGroup;
    friend class MtContainerTest;

    using Guard = LkGuard<const LkLock>;

    /// Pushes a copy of `item`, or what is moved out of it. False when there was no room before the
    /// time ran out; `item` is as before then. `pusher` knows whether the calling thread
    /// `isOwnWorker()` and whether it `isPastLimit()`, and is asked to `pokeHelpers()`.
    template <class U, class Pusher>
    bool push( U&& item, double seconds, Pusher& pusher );
    /// A copy for each of `nbWorkers` past the limit, as long as any worker serves; wakes all
    /// workers. A lack of memory goes no further: the workers leave all the same. Answers how many
    /// have been pushed.
    std::uint32_t pushStopItems( const Item& item, std::uint32_t nbWorkers );
    /// Takes the next item; none when the pool stops and none is left.
    std::optional<Item> pop( const std::atomic<bool>& isRunning );
    /// Takes the next item of the tag; none if none is queued.
    std::optional<Item> popOf( const MtRequestTag& tag );
    /// Takes all items of the tag out, to drop them.
    RCShdPtr<Observer> popAllOf( const MtRequestTag& tag, std::vector<Item>& taken );
    void serve( std::uint32_t nbWorkers );
    bool leave();
    /// `countDone()` answers how many items have been executed.
    template <class CountDone>
    MtPoolSnapshot takeSnapshot( CountDone countDone ) const;

    void reportPopped( const RCShdPtr<Observer>& observer, const Item& item ) noexcept;
    /// Calls the observer, if there is one.
    template <class Report>
    static void report( const RCShdPtr<Observer>& observer, Report report ) noexcept;

    Container _container QV_GUARDED_BY( _lock );
    RCShdPtr<Observer> _observer QV_GUARDED_BY( _lock );
};

} // namespace Qv

#include <resmgt/threadExtensions/mtContainer.inline>
