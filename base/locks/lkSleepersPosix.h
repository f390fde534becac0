#pragma once

#include <base/qvBaseApi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Qv {

/// The threads of the process that wait in a queue until a plain lock is given back.
///
/// They are counted and queued here and not in the locks, so that giving a lock back is a plain
/// store and a look at a count: no atomic read-modify-write, and no touch of a lock that its next
/// holder may have destroyed already.
///
/// Invariant: a sleeper whose lock is free is woken. The sleeper counts itself, issues a barrier in
/// every running thread of the process, tries to take the word under its queue's lock and queues
/// itself there only if the word is taken. The barrier falls somewhere into the instructions of the
/// holder that it saw: before that holder reads the count, then the holder sees it and looks for
/// the sleeper in the queue; or after, then the word was stored free before and the sleeper took
/// it. A holder that finds no one in the queue has freed the word before the sleeper's attempt.
///
/// Where the system has no such barrier, unlocking adds nothing to the count in place of the look;
/// two additions have an order, and the later one sees what the earlier thread did before its own.
/// And where the barrier fails after the system has promised it, a holder may miss the sleeper,
/// which therefore looks at the word itself every few milliseconds.
///
/// Turns: a sleeper whose processor is still running it, or that comes first, is given the lock:
/// whoever looks for it swaps the word from free to the sleeper's number. Any other is only woken,
/// so that nobody waits for a lock whose holder has yet to get a processor; it takes the lock if it
/// can, else it comes first the next time. So no thread that takes its lock again at once keeps
/// another one out for longer than two wake-ups.
///  - The lock of a queued sleeper is alive, since its owner waits in it, and stays so while the
///    queue's lock is held: its word may be touched there, also by one who has freed an earlier
///    lock at that address.
///  - Where somebody else is quicker than the swap, the sleeper stays in the queue. That one's look
///    at the count finds it: a look that comes before the sleeper's barrier follows a store of the
///    free word that the sleeper has seen, and so has whoever tries the swap.
namespace LkSleepers {

/// Locks share counts by their addresses' hash: one that shares only loses the time of a search.
constexpr unsigned NB_COUNTS_LOG2 = 8;

/// How many sleep, by the hash of what they sleep on.
extern QV_BASE_API std::atomic<std::uint32_t> counts[1u << NB_COUNTS_LOG2];

/// True until the system has promised the barrier; where it has none, for good.
extern QV_BASE_API std::atomic<bool> isWithoutBarrier;

inline std::size_t getIndex( const void* lock ) noexcept {
    // Fibonacci hashing: the upper bits of the product depend on all bits of the address.
    const std::uint64_t product = reinterpret_cast<std::uintptr_t>( lock ) * 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>( product >> ( 64 - NB_COUNTS_LOG2 ) );
}

/// Whether somebody may sleep for the lock at this address, which the caller has just freed.
inline bool mayHaveSome( const void* lock ) noexcept {
    std::atomic<std::uint32_t>& count = counts[getIndex( lock )];
    if( isWithoutBarrier.load( std::memory_order_relaxed ) ) [[unlikely]] {
        // Either this sees a sleeper's own addition, or that one sees the word as it is now.
        return count.fetch_add( 0, std::memory_order_acq_rel ) != 0;
    }
    // The processor's part is the sleeper's barrier; the compiler mustn't swap store and load
    // either.
    std::atomic_signal_fence( std::memory_order_seq_cst );
    return count.load( std::memory_order_relaxed ) != 0;
}

/// A sleeper's place among those of its queue.
enum Place { LAST, FIRST };

/// Waits for the lock of this word, unless it is free by now. True: the caller holds it. False,
/// which only LAST can bring: it was woken to look for itself. `number` is the caller's thread
/// number.
QV_BASE_API bool waitForTurn( std::atomic<std::uint32_t>& word, std::uint32_t number,
                              Place place ) noexcept;

/// Gives the lock at this address, which the caller has freed, to whoever waits for it at the
/// front, or wakes that one; nothing happens if nobody waits.
QV_BASE_API void wakeOne( const void* lock ) noexcept;

/// In a forked child, where no thread sleeps.
void forgetInChild() noexcept;

} // namespace LkSleepers

} // namespace Qv
