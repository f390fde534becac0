#include <base/locks/lkSleepersPosix.h>

#include <base/locks/lkBarrier.h>
#include <base/locks/lkPause.h>

#include <linux/futex.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <mutex>

namespace Qv::LkSleepers {

constinit std::atomic<std::uint32_t> counts[1u << NB_COUNTS_LOG2] = {};
constinit std::atomic<bool> isWithoutBarrier{ true };

namespace {

/// How long a sleeper that a holder may have missed sleeps before it looks for itself.
constexpr std::timespec SLICE = { 0, 4'000'000 };

/// A sleeper looks for its turn this often before it gives its processor up: a microsecond or a
/// few, in which a holder of the usual kind comes to its end. No other thread's cache line is
/// disturbed.
constexpr int LOOKS_FOR_TURN = 200;

/// A guard's end stands between a failed call and the look at its error: locks leave errno as it
/// is.
class ErrnoGuard {
public:
    ErrnoGuard() = default;
    ErrnoGuard( const ErrnoGuard& ) = delete;
    ErrnoGuard& operator=( const ErrnoGuard& ) = delete;
    ~ErrnoGuard() { errno = _before; }

private:
    const int _before = errno;
};

/// Without `limit` there is none. Any return, by a wake-up, a signal, the limit or a word that
/// changed, leads to another look.
void futexWait( std::atomic<std::uint32_t>& word, std::uint32_t expected,
                const std::timespec* limit ) noexcept {
    ::syscall( SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, limit, nullptr, 0 );
}

void futexWake( const std::atomic<std::uint32_t>* word ) noexcept {
    ::syscall( SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0 );
}

/// One thread in a queue, on its own stack.
///
/// It writes its state as it goes from LOOKING to ASLEEP; the waker writes it once, under the
/// queue's lock, as it takes the sleeper off the queue, and touches no memory of it afterwards: the
/// sleeper returns then.
class Sleeper {
public:
    Sleeper( std::atomic<std::uint32_t>& word, std::uint32_t number, Place place ) noexcept
        : _word( word )
        , _number( number )
        , _place( place ) {}

    Place getPlace() const noexcept { return _place; }
    bool waitsFor( const void* lock ) const noexcept { return &_word == lock; }
    /// Acquires: whoever gets the lock sees what its former holder did, also through the waker.
    bool takeLock() noexcept {
        std::uint32_t seen = 0;
        return _word.compare_exchange_strong( seen, _number, std::memory_order_acquire,
                                              std::memory_order_relaxed );
    }

    /// By the sleeper: false when the limit was over first.
    bool sleep( const std::timespec* limit ) noexcept {
        std::uint32_t seen = look();
        if( seen == LOOKING ) {
            _state.compare_exchange_strong( seen, ASLEEP, std::memory_order_relaxed,
                                            std::memory_order_relaxed );
        }
        while( isQueued() ) {
            futexWait( _state, ASLEEP, limit );
            if( limit != nullptr ) {
                break;
            }
        }
        return !isQueued();
    }
    /// Acquires what the waker released.
    bool isQueued() const noexcept { return _state.load( std::memory_order_acquire ) <= ASLEEP; }
    bool holdsLock() const noexcept { return _state.load( std::memory_order_acquire ) == HOLDS; }

    /// By the waker, under the queue's lock.
    bool wantsLock() const noexcept {
        return _place == FIRST || _state.load( std::memory_order_relaxed ) == LOOKING;
    }
    /// Releases the lock that the sleeper now holds, if it does, and what was done to the queue.
    /// Answers with the word to wake, if the sleeper is asleep on it.
    const std::atomic<std::uint32_t>* leave( bool withLock ) noexcept {
        const auto* const state = &_state;
        return _state.exchange( withLock ? HOLDS : WOKEN, std::memory_order_release ) == ASLEEP
                   ? state
                   : nullptr;
    }

    Sleeper* _next = nullptr; // guarded by the queue's lock

private:
    enum State : std::uint32_t { LOOKING, ASLEEP, WOKEN, HOLDS };

    std::uint32_t look() const noexcept {
        std::uint32_t seen = _state.load( std::memory_order_relaxed );
        for( int left = lkCanSpin() ? LOOKS_FOR_TURN : 0; left > 0 && seen == LOOKING; --left ) {
            lkPause();
            seen = _state.load( std::memory_order_relaxed );
        }
        return seen;
    }

    std::atomic<std::uint32_t>& _word;
    const std::uint32_t _number;
    const Place _place;
    std::atomic<std::uint32_t> _state{ LOOKING };
};

/// The lock of a queue: held for a few instructions, and never destroyed.
class QueueLock {
public:
    void lock() noexcept {
        std::uint32_t seen = FREE;
        if( !_word.compare_exchange_strong( seen, TAKEN, std::memory_order_acquire,
                                            std::memory_order_relaxed ) ) {
            while( _word.exchange( CONTENDED, std::memory_order_acquire ) != FREE ) {
                futexWait( _word, CONTENDED, nullptr );
            }
        }
    }
    void unlock() noexcept {
        if( _word.exchange( FREE, std::memory_order_release ) == CONTENDED ) {
            futexWake( &_word );
        }
    }
    void reset() noexcept { _word.store( FREE, std::memory_order_relaxed ); }

private:
    static constexpr std::uint32_t FREE = 0;
    static constexpr std::uint32_t TAKEN = 1;
    static constexpr std::uint32_t CONTENDED = 2;

    std::atomic<std::uint32_t> _word{ FREE };
};

/// Sleepers in the order of their turns.
struct alignas( 64 ) Queue {
    /// Whether the sleeper could take its lock; else it is queued.
    bool takeOrInsert( Sleeper& sleeper ) noexcept {
        const std::lock_guard guard( _lock );
        const bool hasTaken = sleeper.takeLock();
        if( !hasTaken ) {
            insert( sleeper );
        }
        return hasTaken;
    }
    /// Whether the sleeper was queued still and could take its lock; it is off the queue then.
    bool takeAndRemove( Sleeper& sleeper ) noexcept {
        const std::lock_guard guard( _lock );
        const bool hasTaken = sleeper.isQueued() && sleeper.takeLock();
        if( hasTaken ) {
            remove( sleeper );
        }
        return hasTaken;
    }
    // REQUIRES: `_lock` is held.
    Sleeper* find( const void* lock ) const noexcept {
        Sleeper* sleeper = _first;
        while( sleeper != nullptr && !sleeper->waitsFor( lock ) ) {
            sleeper = sleeper->_next;
        }
        return sleeper;
    }
    void remove( Sleeper& sleeper ) noexcept {
        Sleeper* previous = nullptr;
        for( Sleeper* other = _first; other != &sleeper; other = other->_next ) {
            previous = other;
        }
        ( previous == nullptr ? _first : previous->_next ) = sleeper._next;
        if( _last == &sleeper ) {
            _last = previous;
        }
    }
    void clear() noexcept {
        _first = nullptr;
        _last = nullptr;
        _lock.reset();
    }

    QueueLock _lock;

private:
    void insert( Sleeper& sleeper ) noexcept {
        if( sleeper.getPlace() == FIRST ) {
            sleeper._next = _first;
            _first = &sleeper;
            _last = _last == nullptr ? &sleeper : _last;
        } else {
            ( _last == nullptr ? _first : _last->_next ) = &sleeper;
            _last = &sleeper;
        }
    }

    Sleeper* _first = nullptr;
    Sleeper* _last = nullptr;
};

constexpr unsigned NB_QUEUES_LOG2 = 5;
constinit Queue queues[1u << NB_QUEUES_LOG2];

Queue& queueOf( std::size_t index ) noexcept {
    return queues[index >> ( NB_COUNTS_LOG2 - NB_QUEUES_LOG2 )];
}

bool membarrier( int command ) noexcept {
    return ::syscall( SYS_membarrier, command, 0, 0 ) == 0;
}

/// Has every running thread of the process execute a full barrier, the caller included. False if
/// the system refuses, which it may do at any time: for want of memory, or in a sandbox.
bool barrierInAllThreads() noexcept {
    return membarrier( MEMBARRIER_CMD_PRIVATE_EXPEDITED ) ||
           ( errno == EPERM && membarrier( MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED ) &&
             membarrier( MEMBARRIER_CMD_PRIVATE_EXPEDITED ) );
}

/// Before `main`, so that the system needn't wait for running threads. A sleeper that comes earlier
/// registers too, since whoever it waits for may unlock later.
[[maybe_unused]] const bool isRegistered = [] {
    const bool isSupported = membarrier( MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED );
    isWithoutBarrier.store( !isSupported, std::memory_order_relaxed );
    return isSupported;
}();

} // namespace

bool waitForTurn( std::atomic<std::uint32_t>& word, std::uint32_t number, Place place ) noexcept {
    const ErrnoGuard errnoGuard;
    const std::size_t index = getIndex( &word );
    Queue& queue = queueOf( index );
    Sleeper sleeper( word, number, place );
    counts[index].fetch_add( 1, std::memory_order_acq_rel );
    const std::timespec* const limit = barrierInAllThreads() ? nullptr : &SLICE;
    bool hasTaken = queue.takeOrInsert( sleeper );
    while( !hasTaken && !sleeper.sleep( limit ) ) {
        hasTaken = queue.takeAndRemove( sleeper );
    }
    if( hasTaken ) {
        counts[index].fetch_sub( 1, std::memory_order_relaxed );
    }
    return hasTaken || sleeper.holdsLock();
}

void wakeOne( const void* lock ) noexcept {
    const ErrnoGuard errnoGuard;
    const std::size_t index = getIndex( lock );
    Queue& queue = queueOf( index );
    const std::atomic<std::uint32_t>* asleep = nullptr;
    {
        const std::lock_guard guard( queue._lock );
        Sleeper* const sleeper = queue.find( lock );
        if( sleeper == nullptr ) {
            return;
        }
        const bool withLock = sleeper->wantsLock();
        if( withLock && !sleeper->takeLock() ) {
            return;
        }
        queue.remove( *sleeper );
        counts[index].fetch_sub( 1, std::memory_order_relaxed );
        asleep = sleeper->leave( withLock );
    }
    if( asleep != nullptr ) {
        futexWake( asleep );
    }
}

void forgetInChild() noexcept {
    for( Queue& queue : queues ) {
        queue.clear();
    }
    for( std::atomic<std::uint32_t>& count : counts ) {
        count.store( 0, std::memory_order_relaxed );
    }
}

} // namespace Qv::LkSleepers

namespace Qv {

constinit std::atomic<unsigned> LkBarrier::meetingPoint{ 0 };

bool LkBarrier::isNeededInFull() noexcept {
    return LkSleepers::isWithoutBarrier.load( std::memory_order_relaxed );
}

void LkBarrier::heavy() noexcept {
    const LkSleepers::ErrnoGuard errnoGuard;
    meetingPoint.fetch_add( 0, std::memory_order_acq_rel );
    if( !isNeededInFull() && !LkSleepers::barrierInAllThreads() ) {
        std::timespec left = LkSleepers::SLICE;
        while( ::nanosleep( &left, &left ) != 0 && errno == EINTR ) {}
    }
}

} // namespace Qv
