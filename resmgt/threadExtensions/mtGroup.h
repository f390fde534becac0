#pragma once

#include <resmgt/threadExtensions/mtContainer.h>
#include <resmgt/threadExtensions/mtRequestBase.h>
#include <resmgt/threadExtensions/mtRequestMgr.h>
#include <resmgt/threadExtensions/mtThreadPool.h>

#include <array>
#include <type_traits>

namespace Qv {

/// The options of an MtGroup.
struct MtGroupOptions {
    /// The most requests that wait.
    std::uint32_t maximumSize = MtContainerBase::DEFAULT_MAXIMUM_SIZE;
    /// Whether the workers are given processors.
    bool placeThreads = false;
    /// In bytes, 0 for the default.
    unsigned int stackSize = 0;
    /// False leaves the start to a derived class, whose hooks the workers would miss while it isn't
    /// complete.
    bool isStarted = true;
};

/// A bounded queue of work on a pool of threads. Each producer has a tag, with which it waits for
/// its own work while the group serves others.
///
///     MtGroup<std::queue<MtTask>> group( "painters", 2 );
///     const MtRequestTag tag = group.registerProducer();
///     group.push( MtTask( tag, work ) );
///     group.workAlong( tag );                 // or group.waitRequestCountZero( tag )
///     group.endProducer( tag );
///
/// Items:    are MtRequestBase objects with an `execute()` that does nothing in a default-made one.
///           The tag is counted from before the push until the item has been destroyed after its
///           execution. Their moves ought not to raise.
/// Limit:    a push waits while the queue is full. Threads that would empty the queue never wait
///           for room in it: pushes of the group's own workers, and those from within an item that
///           another thread executes, go past the limit. That doesn't help two groups that feed
///           each other: use `tryPush` in one direction.
/// Waiting:  a thread that waits runs no items of others. `waitRequestCountZero` runs none at all.
///           `workAlong` runs those of its own tag, from the queue and as they come, until none is
///           left: the calling thread needn't stand idle behind the work of others, and none of
///           theirs runs on its stack and under its locks. A worker of the group that waits for a
///           tag always works along, since it may be the only one, and lets pushes of that tag past
///           the limit meanwhile. A wait for the tag of an item from within that item, which would
///           never end, is an assertion.
/// Stopping: items that are queued are executed first, and so are those of producers that wait for
///           room, and those that workers push meanwhile; then the workers leave. A default-made
///           item for each worker is pushed past the limit, and all are woken. A push while no
///           worker is there, also into a group of 0 threads, is an assertion.
/// Failure:  a push that raises gives its count back. An exception that leaves an item ends the
///           process on a worker; on a thread that works along it goes to the caller, after the
///           count has fallen.
/// Start:    all or nothing, as of MtThreadPool. A constructor that fails has stopped its workers.
/// Lifetime: the destructor stops the group, waits, and asserts that all producers have ended
///           ("0 == _producers"), after all else has been done; while an exception unwinds the
///           stack, that is reported through Trace. A derived class stops the group itself.
/// Threads:  any, except where MtThreadPool and the destructor say otherwise.
/// Cost:     one lock operation for a push and one for a pop, and one atomic operation each.
template <class Container, class Adapter = MtAdapterContainer<Container>>
class QV_TEMPLATE_API MtGroup : public MtThreadPool {
public:
    /// The queue of requests.
    using Queue = MtContainer<Container, Adapter>;
    /// A request.
    using Item = typename Adapter::Item;
    /// Questions and reports about requests.
    using Observer = typename Queue::Observer;

    static_assert( std::is_base_of_v<MtRequestBase, Item>, "items are MtRequestBase objects" );

    MtGroup( const LiString& name, unsigned int nbThreads, const MtGroupOptions& options = {} );
    ~MtGroup() noexcept( false ) override;

    /// A tag for a further producer, who ends it when its count is 0.
    MtRequestTag registerProducer();
    /// The producer pushes no more.
    void endProducer( MtRequestTag tag );

    /// The item has a valid tag of this group.
    void push( const Item& item ) { pushWithin( item, Queue::NO_LIMIT ); }
    void push( Item&& item ) { pushWithin( std::move( item ), Queue::NO_LIMIT ); }
    /// False when the queue is full; nothing has happened then.
    bool tryPush( const Item& item ) { return pushWithin( item, 0.0 ); }
    bool tryPush( Item&& item ) { return pushWithin( std::move( item ), 0.0 ); }
    /// The same with a limit of time, as in LkTimedWaitable.
    bool timedPush( const Item& item, double seconds ) { return pushWithin( item, seconds ); }
    bool timedPush( Item&& item, double seconds ) {
        return pushWithin( std::move( item ), seconds );
    }

    /// Waits until no request with the tag is left.
    void waitRequestCountZero( MtRequestTag tag );
    /// False when the time ran out first.
    bool timedWaitRequestCountZero( MtRequestTag tag, double seconds );
    /// Runs the tag's queued items on the calling thread, and waits for those in work.
    void workAlong( MtRequestTag tag );
    /// False when the time ran out first; it is looked at between two items, and one of 0
    /// runs none.
    bool timedWorkAlong( MtRequestTag tag, double seconds );
    /// Drops the tag's queued items, without executing them. Those in work go on, and so do pushes
    /// that wait for room. Answers how many there were. Observers are informed as of a pop.
    std::size_t discard( MtRequestTag tag );

    Queue& getContainer() noexcept { return _container; }
    MtRequestMgr& getRequestMgr() noexcept { return _requests; }
    MtPoolSnapshot getSnapshot() const;

    /// The pool's line, and the snapshot.
    void dumpPool( std::ostream& stream ) const override;
    /// Whether a push by the calling thread goes past the limit.
    bool isPastLimit() const noexcept { return isOwnWorker() || _requests.isInWork(); }

protected:
    void performTask( unsigned int index ) override;
    void stopThreads() override;
    bool isTaskLeft( unsigned int index ) override;
    void threadsStarted() override;

private:
    class Count;
    class Work;

    /// On a line of its own.
    struct alignas( 64 ) Done {
        std::atomic<std::uint64_t> count{ 0 };
    };
    static constexpr std::size_t NB_DONE = 8;

    friend Queue;

    void pokeHelpers() { _requests.poke(); }
    template <class U>
    bool pushWithin( U&& item, double seconds );
    void run( std::optional<Item>& item, unsigned int index );
    bool runNextOf( const MtRequestTag& tag );
    void drop( std::vector<Item>& items, const RCShdPtr<Observer>& observer );
    void end();

    Queue _container;
    LkCounter<std::int32_t> _producers;
    MtRequestTag _groupTag;
    MtRequestMgr _requests;
    // Written by those who execute, each mostly its own; added up by snapshots.
    std::array<Done, NB_DONE> _nbDone;
};

} // namespace Qv

#include <resmgt/threadExtensions/mtGroup.inline>
