#pragma once

#include <base/qvBaseApi.h>

#include <atomic>

namespace Qv {

/// Two threads that each write one word and then read the other's: with a barrier between write and
/// read in both, at least one of them sees the other's write. Here one side, which is to be quick,
/// has a barrier of the compiler alone; the other, which is rare, issues one in all threads.
///
///     quick: mine.store( 1, std::memory_order_relaxed );     rare: yours.store( 1, ... );
///            LkBarrier::light( LkBarrier::isNeededInFull() );      LkBarrier::heavy();
///            yours.load( ... )                                     mine.load( ... )
///
/// The data that the words guard is ordered by their own releases and acquires.
namespace LkBarrier {

/// Whether the quick side must pay for a barrier of its own: where the system has none for all
/// threads, and before `main`. May be asked once for many barriers.
QV_BASE_API bool isNeededInFull() noexcept;

/// What both sides add nothing to in place of the barrier: two additions have an order, and the
/// later one sees what the earlier thread did before its own.
extern QV_BASE_API std::atomic<unsigned> meetingPoint;

/// The quick side's barrier.
inline void light( bool isInFull ) noexcept {
    if( isInFull ) [[unlikely]] {
        meetingPoint.fetch_add( 0, std::memory_order_acq_rel );
    } else {
        std::atomic_signal_fence( std::memory_order_seq_cst );
    }
}

/// The rare side's: every running thread of the process executes a barrier, the caller included.
/// Where the system has promised it and refuses, it waits for some milliseconds instead, in which a
/// processor has long made its writes visible. Leaves errno as it is.
QV_BASE_API void heavy() noexcept;

} // namespace LkBarrier

} // namespace Qv
