#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/threadExtensions/mtPoolSnapshot.h>
#include <resmgt/threadExtensions/mtRequestTag.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// The part of an MtContainer that doesn't know the items: who may come in, who waits, who is woken
/// and what is counted.
///
/// Producers: wait in the order in which they came. A place that becomes free wakes the first of
///            them; one who comes meanwhile may be quicker, but then the place that the woken one
///            finds taken is kept for it the next time, so that nobody is overtaken for ever.
/// Helpers:   threads that wait for a tag and run its items meanwhile. Of those that are workers,
///            the tag's items come in past the limit: the helper may be who would make room.
/// Workers:   the newest sleeper is woken. A pop that finds nothing returns without an item once
///            the pool stops and nobody is left who may still push.
/// Counters:  are kept under the lock that is held anyway.
///
/// Lock: the caller of every operation holds the container's lock.
class QV_RESMGT_API MtContainerBase {
public:
    /// The most requests that wait, where nothing else is said.
    static constexpr std::uint32_t DEFAULT_MAXIMUM_SIZE = 100;

    MtContainerBase( const MtContainerBase& ) = delete;
    MtContainerBase& operator=( const MtContainerBase& ) = delete;

protected:
    class Blocked;
    class Place;

    /// A thread that runs the queued items of a tag until there are none; registered while it
    /// lives.
    class QV_RESMGT_API Helper {
    public:
        /// `isWorker`: the helper is one of the workers, maybe the only one, so that items of the
        /// tag come in past the limit from now on.
        Helper( MtContainerBase& container, const MtRequestTag& tag, bool isWorker );
        Helper( const Helper& ) = delete;
        Helper& operator=( const Helper& ) = delete;
        ~Helper();

    private:
        friend class MtContainerBase;

        MtContainerBase& _container;
        const MtRequestTag _tag;
        const bool _isWorker;
        Helper* _next;
    };

    MtContainerBase() = default;
    ~MtContainerBase() = default;

    /// Waits until an item of this tag may come in; false when the time ran out.
    bool waitForRoom( const MtRequestTag& tag, double seconds ) QV_REQUIRES( _lock );
    /// Whether an item of this tag may come in at once.
    bool isLetIn( const MtRequestTag& tag ) const noexcept QV_REQUIRES( _lock ) {
        return hasRoom() || ( _firstHelper != nullptr && isAwaited( tag, true ) );
    }
    /// Whether a helper wants to know of items of this tag; of those that are workers, or all.
    bool isAwaited( const MtRequestTag& tag, bool isByWorker ) const noexcept QV_REQUIRES( _lock );
    /// Whether there are fewer items than the maximum.
    bool hasRoom() const noexcept QV_REQUIRES( _lock ) {
        return _nbQueued + _nbPromised < _maximumSize;
    }
    /// Answers whether there may be a worker to wake.
    [[nodiscard]] bool countPushed() QV_REQUIRES( _lock ) {
        if( ++_nbQueued > _mostQueued ) {
            _mostQueued = _nbQueued;
        }
        return _nbSleeping != 0;
    }
    /// After the lock, so that the woken one finds it free.
    void wakeWorker() const { _nonEmpty.signal(); }
    /// Waits for an item. False when there will be none: the pool stops.
    bool waitForItem( const std::atomic<bool>& isRunning ) QV_REQUIRES( _lock );
    /// An item has been taken out to be executed.
    void countPopped() QV_REQUIRES( _lock ) {
        --_nbQueued;
        ++_nbTaken;
        if( _firstBlocked != nullptr ) {
            wakeProducers();
        }
    }
    /// Counts items that leave the queue without being served.
    void countDiscarded( std::uint32_t nbItems ) QV_REQUIRES( _lock ) {
        _nbQueued -= nbItems;
        _nbDiscarded += nbItems;
        wakeProducers();
    }
    /// Wakes all workers that wait for requests.
    void wakeWorkers() const QV_REQUIRES( _lock ) { _nonEmpty.broadcast(); }
    /// So many workers are there for pushes from now on.
    void serve( std::uint32_t nbWorkers ) QV_REQUIRES( _lock ) {
        _nbServing = nbWorkers;
        _hasLeavers = false;
    }
    /// A worker of a stopping pool leaves; false while there is something left for it.
    bool leave() QV_REQUIRES( _lock );
    /// Lets as many producers go on as there is room for.
    void wakeProducers() QV_REQUIRES( _lock );
    void setMaximum( std::uint32_t maximumSize ) QV_REQUIRES( _lock );
    /// `nbDone` items have been executed.
    MtPoolSnapshot takeSnapshot( std::uint64_t nbDone ) const QV_REQUIRES( _lock );

    // The first cache line is what each push and pop writes.

    /// The queue's lock.
    alignas( 64 ) const LkLock _lock{ "MtGroup" };

private:
    const LkCondVar _nonEmpty{ "Non-Empty Cond Var" };
    std::uint64_t _nbTaken QV_GUARDED_BY( _lock ) = 0;

protected:
    /// Requests that wait.
    std::uint32_t _nbQueued QV_GUARDED_BY( _lock ) = 0;
    /// The most requests that may wait.
    std::uint32_t _maximumSize QV_GUARDED_BY( _lock ) = DEFAULT_MAXIMUM_SIZE;

private:
    std::uint32_t _mostQueued QV_GUARDED_BY( _lock ) = 0;
    // In a wait for an item, whether woken or not.
    std::uint32_t _nbSleeping QV_GUARDED_BY( _lock ) = 0;

protected:
    // The workers that pushes can count on.
    /// The workers that pushes can count on.
    std::uint32_t _nbServing QV_GUARDED_BY( _lock ) = 0;
    /// The first of those who help while they wait.
    Helper* _firstHelper QV_GUARDED_BY( _lock ) = nullptr;

private:
    friend class MtContainerTest;

    void promise( Blocked& blocked ) noexcept QV_REQUIRES( _lock );
    void letIn( const MtRequestTag& tag ) QV_REQUIRES( _lock );
    void link( Blocked& blocked, bool isFirst ) noexcept QV_REQUIRES( _lock );
    void unlink( Blocked& blocked ) noexcept QV_REQUIRES( _lock );

    // Kept for producers that were woken in vain before, and are on their way.
    std::uint32_t _nbPromised QV_GUARDED_BY( _lock ) = 0;
    // In `waitForRoom`, whether woken or not.
    std::uint32_t _nbBlocked QV_GUARDED_BY( _lock ) = 0;
    // Workers of a stopping pool wait for nothing but their pushes.
    bool _hasLeavers QV_GUARDED_BY( _lock ) = false;
    // Those of them that nobody has woken.
    std::uint32_t _nbListed QV_GUARDED_BY( _lock ) = 0;
    Blocked* _firstBlocked QV_GUARDED_BY( _lock ) = nullptr;
    Blocked* _lastBlocked QV_GUARDED_BY( _lock ) = nullptr;
    std::uint64_t _nbWaits QV_GUARDED_BY( _lock ) = 0;
    std::uint64_t _nbDiscarded QV_GUARDED_BY( _lock ) = 0;
    // In seconds, of the waits that are over.
    double _longestWait QV_GUARDED_BY( _lock ) = 0.0;
};

} // namespace Qv
