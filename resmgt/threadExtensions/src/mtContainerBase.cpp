#include <resmgt/threadExtensions/mtContainerBase.h>

#include <base/locks/lkGuard.h>
#include <resmgt/locks/lkTimedCondVar.h>

#include <algorithm>
#include <chrono>

namespace Qv {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince( Clock::time_point begin ) {
    return std::chrono::duration<double>( Clock::now() - begin ).count();
}

/// Counts a sleeping worker for a scope.
class Sleeper {
public:
    explicit Sleeper( std::uint32_t& count ) noexcept
        : _count( count ) {
        ++_count;
    }
    Sleeper( const Sleeper& ) = delete;
    Sleeper& operator=( const Sleeper& ) = delete;
    ~Sleeper() { --_count; }

private:
    std::uint32_t& _count;
};

} // namespace

/// A thread that waits for room, in its own frame. In the list until somebody wakes it.
class MtContainerBase::Blocked {
public:
    const LkTimedCondVar _room{ "Non-Full Cond Var" };
    const Clock::time_point _begin = Clock::now();
    MtRequestTag _tag;
    Blocked* _previous = nullptr;
    Blocked* _next = nullptr;
    bool _isListed = false;
    bool _wasWoken = false;
    bool _isPromised = false;
};

/// Counts a blocked thread for a scope, and leaves nothing of it, also when a wait raises.
class MtContainerBase::Place {
public:
    explicit Place( MtContainerBase& container ) noexcept QV_REQUIRES( container._lock )
        : _container( container ) {
        ++container._nbBlocked;
        ++container._nbWaits;
    }
    Place( const Place& ) = delete;
    Place& operator=( const Place& ) = delete;
    // The lock is held by whoever made it; the analysis doesn't follow a destructor.
    ~Place() QV_NO_THREAD_SAFETY_ANALYSIS {
        if( _blocked._isListed ) {
            _container.unlink( _blocked );
        }
        _container._nbPromised -= _blocked._isPromised ? 1 : 0;
        _container._longestWait =
            std::max( _container._longestWait, secondsSince( _blocked._begin ) );
        if( --_container._nbBlocked == 0 && _container._hasLeavers ) {
            _container._nonEmpty.broadcast();
        }
    }

    Blocked _blocked;

private:
    MtContainerBase& _container;
};

MtContainerBase::Helper::Helper( MtContainerBase& container, const MtRequestTag& tag,
                                 bool isWorker )
    : _container( container )
    , _tag( tag )
    , _isWorker( isWorker ) {
    const LkGuard<const LkLock> guard( container._lock );
    _next = container._firstHelper;
    container._firstHelper = this;
    if( isWorker ) {
        container.letIn( tag );
    }
}

MtContainerBase::Helper::~Helper() {
    const LkGuard<const LkLock> guard( _container._lock );
    Helper** place = &_container._firstHelper;
    while( *place != this ) {
        place = &( *place )->_next;
    }
    *place = _next;
}

bool MtContainerBase::isAwaited( const MtRequestTag& tag, bool isByWorker ) const noexcept {
    for( const Helper* helper = _firstHelper; helper != nullptr; helper = helper->_next ) {
        if( helper->_tag == tag && ( helper->_isWorker || !isByWorker ) ) {
            return true;
        }
    }
    return false;
}

bool MtContainerBase::waitForRoom( const MtRequestTag& tag, double seconds ) {
    // No number isn't above 0 either.
    if( !( seconds > 0.0 ) ) {
        return false;
    }
    Place place( *this );
    Blocked& blocked = place._blocked;
    blocked._tag = tag;
    for( double left = seconds;; left = seconds - secondsSince( blocked._begin ) ) {
        link( blocked, blocked._wasWoken );
        const bool isOver = !blocked._room.timedWait( _lock, left );
        if( blocked._isPromised || isLetIn( tag ) ) {
            return true;
        }
        if( isOver ) {
            return false;
        }
        // Somebody else was quicker: the next place is kept for this one.
        blocked._wasWoken = true;
    }
}

void MtContainerBase::wakeProducers() {
    // Those that are woken and on their way will need a place each.
    while( _firstBlocked != nullptr && _nbQueued + ( _nbBlocked - _nbListed ) < _maximumSize ) {
        Blocked& blocked = *_firstBlocked;
        unlink( blocked );
        if( blocked._wasWoken ) {
            promise( blocked );
        }
        blocked._room.signal();
    }
}

void MtContainerBase::promise( Blocked& blocked ) noexcept {
    blocked._isPromised = true;
    ++_nbPromised;
}

void MtContainerBase::letIn( const MtRequestTag& tag ) {
    Blocked* next = nullptr;
    for( Blocked* blocked = _firstBlocked; blocked != nullptr; blocked = next ) {
        next = blocked->_next;
        if( blocked->_tag == tag ) {
            unlink( *blocked );
            promise( *blocked );
            blocked->_room.signal();
        }
    }
}

bool MtContainerBase::waitForItem( const std::atomic<bool>& isRunning ) {
    while( _nbQueued == 0 ) {
        // Relaxed: it is cleared before the lock is taken under which all workers are woken.
        if( !isRunning.load( std::memory_order_relaxed ) ) {
            if( _nbBlocked == 0 ) {
                return false;
            }
            _hasLeavers = true;
        }
        const Sleeper sleeper( _nbSleeping );
        _nonEmpty.wait( _lock );
    }
    return true;
}

void MtContainerBase::setMaximum( std::uint32_t maximumSize ) {
    _maximumSize = maximumSize;
    wakeProducers();
}

bool MtContainerBase::leave() {
    if( _nbQueued != 0 || _nbBlocked != 0 ) {
        return false;
    }
    // None is counted in a pool whose start fails.
    _nbServing -= _nbServing != 0 ? 1 : 0;
    return true;
}

MtPoolSnapshot MtContainerBase::takeSnapshot( std::uint64_t nbDone ) const {
    MtPoolSnapshot snapshot;
    snapshot.nbQueued = _nbQueued;
    snapshot.mostQueued = _mostQueued;
    snapshot.nbRunning = static_cast<std::uint32_t>( _nbTaken - nbDone );
    snapshot.nbDone = nbDone;
    snapshot.nbDiscarded = _nbDiscarded;
    snapshot.nbBlockedProducers = _nbBlocked;
    snapshot.nbWaits = _nbWaits;
    snapshot.longestWait = _longestWait;
    for( const Blocked* blocked = _firstBlocked; blocked != nullptr; blocked = blocked->_next ) {
        snapshot.longestWait = std::max( snapshot.longestWait, secondsSince( blocked->_begin ) );
    }
    return snapshot;
}

void MtContainerBase::link( Blocked& blocked, bool isFirst ) noexcept {
    Blocked* const next = isFirst ? _firstBlocked : nullptr;
    Blocked* const previous = isFirst ? nullptr : _lastBlocked;
    blocked._next = next;
    blocked._previous = previous;
    ( previous != nullptr ? previous->_next : _firstBlocked ) = &blocked;
    ( next != nullptr ? next->_previous : _lastBlocked ) = &blocked;
    blocked._isListed = true;
    ++_nbListed;
}

void MtContainerBase::unlink( Blocked& blocked ) noexcept {
    ( blocked._previous != nullptr ? blocked._previous->_next : _firstBlocked ) = blocked._next;
    ( blocked._next != nullptr ? blocked._next->_previous : _lastBlocked ) = blocked._previous;
    blocked._isListed = false;
    --_nbListed;
}

} // namespace Qv
