#pragma once

#include <base/locks/lkThreadId.h>
#include <resmgt/locks/lkSList.h>
#include <resmgt/locks/src/lkAutoResetEvent.h>

namespace Qv {

/// A thread's place in the queue of an LkCondVar; one a thread, in its slot
/// "LkWaitEntry::_threadData".
///
/// Lifetime: its memory stays an entry's until the process ends and serves later threads, since a
///           signaller without the lock may look at the entry of a thread that is gone. So the
///           link, the pins and the event are made once and never anew.
/// Pins:     how many signallers may be about to follow this entry's link. See lkWaitList.h.
class alignas( 64 ) LkWaitEntry : public LkSListNode {
public:
    /// The calling thread's entry; its first call builds it.
    static LkWaitEntry& getEntry();

    /// Lets the owner pass. The last access to what the entry belongs to.
    void signal() const { _waitEvent.set(); }
    /// The owner waits for the signal.
    void wait() const { _waitEvent.wait( LkDeadline() ); }
    /// The owner takes the signal that is sent to it already, after a wait that raised.
    void takeSignal() const noexcept { _waitEvent.takeAtHand(); }

    // Sequentially consistent, together with the removals from the list: a signaller pins, then
    // looks at the head once more; the owner is removed from the head, then looks at the pins. Not
    // both can miss the other.
    void pin() noexcept { _nbPins.fetch_add( 1, std::memory_order_seq_cst ); }
    // Release: the reads of the link come before the owner's next push.
    void unpin() noexcept { _nbPins.fetch_sub( 1, std::memory_order_release ); }
    /// The owner, off every list, waits until no signaller can follow the link. A signaller holds
    /// its pin for a few instructions.
    void awaitUnpinned() const noexcept {
        if( _nbPins.load( std::memory_order_seq_cst ) != 0 ) {
            awaitUnpinnedSlowly();
        }
    }

    /// The calling thread becomes the owner, and ceases to be.
    void adopt() noexcept { _threadId.setCurrentThread(); }
    void abandon();

private:
    void awaitUnpinnedSlowly() const noexcept;

    // Written by signallers; on one cache line with the link, which they read too.
    std::atomic<std::uint32_t> _nbPins{ 0 };
    LkThreadId _threadId;
    // The owner looks at it again and again: on a line of its own.
    alignas( 64 ) mutable LkAutoResetEvent _waitEvent;
};

} // namespace Qv
