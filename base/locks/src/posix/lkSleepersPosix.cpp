#include <base/locks/lkSleepersPosix.h>

#include <linux/futex.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace Qv::LkSleepers {

constinit std::atomic<std::uint32_t> counts[1u << NB_COUNTS_LOG2] = {};
constinit std::atomic<bool> isWithoutBarrier{ true };

namespace {

void futexWait( std::atomic<std::uint32_t>& word, std::uint32_t expected ) noexcept {
    // Any return, by a wake-up, a signal or a word that changed, leads to another look.
    ::syscall( SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0 );
}

void futexWake( const std::atomic<std::uint32_t>* word ) noexcept {
    ::syscall( SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0 );
}

/// One thread asleep, on its own stack.
///
/// The waker touches no memory of it after `_awake` is set: the sleeper returns then.
class Sleeper {
public:
    explicit Sleeper( const void* lock ) noexcept
        : _lock( lock ) {}

    bool waitsFor( const void* lock ) const noexcept { return _lock == lock; }
    void sleep() noexcept {
        while( _awake.load( std::memory_order_acquire ) == 0 ) {
            futexWait( _awake, 0 );
        }
    }
    void wake() noexcept {
        // Releases: what the waker did to the queue is done before the sleeper's stack goes on.
        _awake.store( 1, std::memory_order_release );
        futexWake( &_awake );
    }

    Sleeper* _next = nullptr; // guarded by the queue's lock

private:
    const void* _lock;
    std::atomic<std::uint32_t> _awake{ 0 };
};

/// The lock of a queue: held for a few instructions, and never destroyed.
class QueueLock {
public:
    void lock() noexcept {
        std::uint32_t seen = FREE;
        if( !_word.compare_exchange_strong( seen, TAKEN, std::memory_order_acquire,
                                            std::memory_order_relaxed ) ) {
            while( _word.exchange( CONTENDED, std::memory_order_acquire ) != FREE ) {
                futexWait( _word, CONTENDED );
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

/// Sleepers in the order in which they came.
struct alignas( 64 ) Queue {
    void append( Sleeper& sleeper ) noexcept {
        ( _last == nullptr ? _first : _last->_next ) = &sleeper;
        _last = &sleeper;
    }
    Sleeper* takeFirst( const void* lock ) noexcept {
        Sleeper* previous = nullptr;
        for( Sleeper* sleeper = _first; sleeper != nullptr; sleeper = sleeper->_next ) {
            if( sleeper->waitsFor( lock ) ) {
                ( previous == nullptr ? _first : previous->_next ) = sleeper->_next;
                if( _last == sleeper ) {
                    _last = previous;
                }
                return sleeper;
            }
            previous = sleeper;
        }
        return nullptr;
    }
    void clear() noexcept {
        _first = nullptr;
        _last = nullptr;
        _lock.reset();
    }

    QueueLock _lock;

private:
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

/// Has every running thread of the process execute a full barrier, the caller included.
void barrierInAllThreads() noexcept {
    if( !membarrier( MEMBARRIER_CMD_PRIVATE_EXPEDITED ) && errno == EPERM &&
        membarrier( MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED ) ) {
        membarrier( MEMBARRIER_CMD_PRIVATE_EXPEDITED );
    }
}

/// Before `main`, so that the system needn't wait for running threads. A sleeper that comes earlier
/// registers too, since whoever it waits for may unlock later.
[[maybe_unused]] const bool isRegistered = [] {
    const bool isSupported = membarrier( MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED );
    isWithoutBarrier.store( !isSupported, std::memory_order_relaxed );
    return isSupported;
}();

} // namespace

void sleepWhileTaken( const std::atomic<std::uint32_t>& word ) noexcept {
    const std::size_t index = getIndex( &word );
    Queue& queue = queueOf( index );
    Sleeper sleeper( &word );
    counts[index].fetch_add( 1, std::memory_order_acq_rel );
    barrierInAllThreads();
    queue._lock.lock();
    const bool isTaken = word.load( std::memory_order_relaxed ) != 0;
    if( isTaken ) {
        queue.append( sleeper );
    } else {
        counts[index].fetch_sub( 1, std::memory_order_relaxed );
    }
    queue._lock.unlock();
    if( isTaken ) {
        sleeper.sleep();
    }
}

void wakeOne( const void* lock ) noexcept {
    const std::size_t index = getIndex( lock );
    Queue& queue = queueOf( index );
    queue._lock.lock();
    Sleeper* const sleeper = queue.takeFirst( lock );
    if( sleeper != nullptr ) {
        counts[index].fetch_sub( 1, std::memory_order_relaxed );
    }
    queue._lock.unlock();
    if( sleeper != nullptr ) {
        sleeper->wake();
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
