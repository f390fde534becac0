#include <resmgt/threads/src/mtQueueObserver.h>

#include <base/containers/list.h>
#include <base/failure/assertions.h>
#include <base/failure/qvHere.h>
#include <base/trace/trace.h>

#include <algorithm>

namespace Qv {

namespace {

/// Those that wait, of all queues. Never destroyed: threads may outlive the statics.
struct Waiters {
    const LkLock lock{ "MtLogger waiters" };
    List<MtQueueObserver*> observers QV_GUARDED_BY( lock );
    bool areAllowed QV_GUARDED_BY( lock ) = false;
    // For the reader, which asks often; a hint.
    std::atomic<std::size_t> nb{ 0 };
};

Waiters& getWaiters() {
    static Waiters* const waiters = new Waiters;
    return *waiters;
}

} // namespace

/// Stands in the list for a scope, if waits are allowed.
struct MtQueueObserver::Waiting {
    explicit Waiting( MtQueueObserver& waiting )
        : observer( waiting ) {
        Waiters& waiters = getWaiters();
        const LkGuard<const LkLock> guard( waiters.lock );
        isAllowed = waiters.areAllowed;
        if( isAllowed ) {
            waiters.observers.push_back( &observer );
            waiters.nb.store( waiters.observers.size(), std::memory_order_relaxed );
            const LkGuard<const LkLock> observerGuard( observer._lock );
            observer._isCalledOff = false;
        }
    }
    Waiting( const Waiting& ) = delete;
    Waiting& operator=( const Waiting& ) = delete;
    ~Waiting() {
        Waiters& waiters = getWaiters();
        const LkGuard<const LkLock> guard( waiters.lock );
        waiters.observers.remove( &observer );
        waiters.nb.store( waiters.observers.size(), std::memory_order_relaxed );
    }

    MtQueueObserver& observer;
    bool isAllowed = false;
};

void MtQueueObserver::entryAdded( LgQueue&, unsigned int ) {}

bool MtQueueObserver::hasSpace( const LgQueue& queue, unsigned int nbCharacters ) noexcept {
    return !queue.isFull() && queue.getStream().getNumCharacters() >= nbCharacters;
}

void MtQueueObserver::entryRemoved( LgQueue& queue ) noexcept {
    if( _needed.fetch_add( 0, std::memory_order_acq_rel ) == 0 ) {
        return;
    }
    try {
        const LkGuard<const LkLock> guard( _lock );
        const unsigned int needed = _needed.load( std::memory_order_relaxed );
        if( needed != 0 && hasSpace( queue, needed ) ) {
            QV_ASSERT_TEXT( _sema != nullptr, "!_sema.isNull()" );
            _needed.store( 0, std::memory_order_relaxed );
            _sema->post();
        }
    } catch( ... ) {
        Trace::printCurrentException( "MtQueueObserver::entryRemoved", QV_HERE );
    }
}

void MtQueueObserver::waitForSpace( LgQueue& queue, int nbCharacters ) {
    const LgQueue::SuppressGuard suppress( queue );
    const auto needed = static_cast<unsigned int>( std::max( nbCharacters, 0 ) );
    if( hasSpace( queue, needed ) ) {
        return;
    }
    const Waiting waiting( *this );
    LkUnnamedSema* const sema = waiting.isAllowed ? prepareWait( queue, needed ) : nullptr;
    if( sema != nullptr ) {
        sema->wait();
    }
}

/// What to wait on, where somebody will post then; null if there is nothing to wait for.
LkUnnamedSema* MtQueueObserver::prepareWait( const LgQueue& queue, unsigned int nbCharacters ) {
    const LkGuard<const LkLock> guard( _lock );
    if( _isCalledOff ) {
        return nullptr;
    }
    if( _sema == nullptr ) {
        _sema = std::make_unique<LkUnnamedSema>( "Queue_Lock", 0, LkSemaTypes::NOT_SHARED );
    }
    _needed.exchange( std::max( nbCharacters, 1U ), std::memory_order_acq_rel );
    if( hasSpace( queue, nbCharacters ) ) {
        _needed.store( 0, std::memory_order_relaxed );
        return nullptr;
    }
    return _sema.get();
}

void MtQueueObserver::callOff() noexcept {
    const LkGuard<const LkLock> guard( _lock );
    _isCalledOff = true;
    if( _needed.exchange( 0, std::memory_order_relaxed ) != 0 ) {
        _sema->post();
    }
}

void MtQueueObserver::allowWaits( bool isAllowed ) noexcept {
    {
        Waiters& waiters = getWaiters();
        const LkGuard<const LkLock> guard( waiters.lock );
        waiters.areAllowed = isAllowed;
    }
    if( !isAllowed ) {
        wakeAll();
    }
}

void MtQueueObserver::wakeAll() noexcept {
    Waiters& waiters = getWaiters();
    if( waiters.nb.load( std::memory_order_relaxed ) == 0 ) {
        return;
    }
    const LkGuard<const LkLock> guard( waiters.lock );
    for( MtQueueObserver* const observer : waiters.observers ) {
        observer->callOff();
    }
}

} // namespace Qv
