#pragma once

#include <base/locks/lkThreadId.h>
#include <resmgt/locks/lkTimedCondVar.h>
#include <resmgt/locks/src/lkAutoResetEvent.h>

namespace Qv {

/// A thread's place in the list of an LkTimedCondVar; one a thread, in its slot
/// "WaitEntry::_threadData". The links belong to the lock of the list that it is on.
///
/// Lifetime: its memory stays an entry's until the process ends and serves later threads.
class alignas( 64 ) LkTimedWaitEntry : public LkTimedWaitLinks {
public:
    /// The calling thread's entry; its first call builds it.
    static LkTimedWaitEntry& getEntry();

    /// Lets the owner pass. The last access to what the entry belongs to.
    void signal() { _waitEvent.set(); }
    /// The owner waits for the signal; false when the deadline came first.
    bool wait( const LkDeadline& deadline ) { return _waitEvent.wait( deadline ); }
    /// The owner takes the signal that is sent to it already, after a wait that ended without it.
    void takeSignal() noexcept { _waitEvent.takeAtHand(); }

    /// The calling thread becomes the owner, and ceases to be.
    void adopt() noexcept { _threadId.setCurrentThread(); }
    void abandon();

private:
    LkThreadId _threadId;
    // The owner looks at it again and again: on a line of its own.
    alignas( 64 ) LkAutoResetEvent _waitEvent;
};

} // namespace Qv
