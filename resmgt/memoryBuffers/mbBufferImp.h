#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkCounter.h>
#include <base/locks/lkLock.h>
#include <base/locks/lkThreadId.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcBase.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/literals/liString.h>
#include <resmgt/locks/lkAsyncHandle.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/memoryBuffers/mbAlignment.h>
#include <resmgt/memoryBuffers/mbRegion.h>

#include <atomic>
#include <cstdint>

namespace Qv {

class MbManager;
class MbPoolManager;
class MbProtocol;
class MbResidents;
class MbState;

/// The notes of an MbPoolManager in a buffer that has its memory.
struct MbResidence {
    /// No place: the buffer isn't evictable.
    static constexpr std::uint64_t NOT_EVICTABLE = 0;

    /// The place in the order in which buffers became evictable. Written under the buffer's lock,
    /// which orders it; read without that only to count.
    std::atomic<std::uint64_t> ticket{ NOT_EVICTABLE };
    /// The place among the manager's buffers. This and the next are guarded by its lock.
    std::uint32_t index = 0;
    /// When the buffer got its memory, see MbResidents::getSeconds.
    std::uint32_t since = 0;
};

/// A buffer's name, which its lock uses: constructed before that.
struct MbBufferName {
    /// The name.
    const LiString _name;
};

/// The buffer behind MbBuffer and the guards: for them, for factories and for managers. Clients
/// only pass it on.
///
/// Events:   each operation of the first group is an event to the buffer's state, handled under the
///           buffer's lock, which is released while the protocol works. Then threads that wait for
///           a change of state are woken: after the lock is given back, except for completions. The
///           states define what an event does and raises; docs/buffer-states.md has the tables.
/// Lifetime: the caller of an event holds a handle, or a pin, until it returns. The handles
///           together hold one pin, which the event gives back that ends in the destruction: the
///           last handle's, or the one whose protocol call dropped the last handle. The thread that
///           gives back the last pin deletes the buffer. A completion needs neither: as long as one
///           is to come the destruction waits for it, or is pending and takes place in the
///           completion itself. It wakes the waiters before it gives the lock back, and touches
///           nothing after that.
/// Threads:  any.
class QV_RESMGT_API MbBufferImp final : public LkAsyncHandle,
                                        private MbBufferName,
                                        public RCBaseWithDestroy<LkCounter<int>> {
public:
    /// A null protocol stands for a plain one. Raises MbEx::ExInvalidArgument for a negative size.
    MbBufferImp( const LiString& name, const MbState* initialState,
                 const RCShdPtr<MbManager>& manager, OPtr<MbProtocol> protocol, int size,
                 const MbAlignment& alignment );
    ~MbBufferImp() override;

    /// Takes a read lock, which brings the content in.
    void rdlock();
    /// Takes a write lock, which brings the content in.
    void wrlock();
    /// Takes one more write lock, under one that is held.
    void wrdup();
    /// Turns a write lock into a read lock.
    void wr2rd();
    /// See MbBuffer::prefetch.
    void prefetch();
    /// See MbBuffer::asyncSync.
    void asyncSync();
    /// See MbBuffer::sync.
    void sync();
    /// Gives a lock back.
    void unlock();
    /// Has the memory taken, for managers.
    void unload();
    /// See MbBuffer::free.
    void free();
    /// The last handle is gone.
    void destroy() override;
    void asyncSucceeded() override;
    void asyncFailed() override;
    /// Moves the memory of `source`, another buffer, into this one. Where sizes or alignment don't
    /// fit, and after any other failure of this buffer, `source` has lost its content.
    void grab( MbBufferImp& source );

    const char* getName() const;
    /// In bytes.
    int getSize() const noexcept { return _size; }
    const MbAlignment& getAlignment() const noexcept { return _alignment; }
    const MbProtocol* getProtocol() const;
    /// Deletes the former protocol; null stands for a plain one. A call of it that is under way
    /// ends first; no asynchronous operation of it may be running.
    void setProtocol( OPtr<MbProtocol> protocol );
    bool isLoaded() const;
    /// REQUIRES: the caller has a lock of the buffer, which keeps the memory where it is.
    void* getMemory() const noexcept QV_NO_THREAD_SAFETY_ANALYSIS { return _region._memory; }

    /// For managers: keeps the buffer alive.
    /// REQUIRES: the buffer is alive by other means.
    void pin() noexcept { ++_pins; }
    /// Deletes the buffer if this was the last pin.
    void unpin() noexcept;
    /// For managers, which are called with the buffer's lock held, or while the buffer is in
    /// transition by the calling thread.
    const MbRegion& getRegion() const noexcept {
        assumeLocked();
        return _region;
    }
    void setRegion( const MbRegion& region ) {
        assumeLocked();
        _region = region;
    }

    /// For managers: whether the memory is wanted for a hint alone, for which nobody may wait and
    /// nothing is evicted. MbEx::ExNotEnoughMemory where there is none then.
    /// REQUIRES: the manager has been asked for memory by the calling thread.
    bool isAskingByTheWay() const noexcept { return _isAskingByTheWay; }

    const LkLock& getLock() const noexcept QV_RETURN_CAPABILITY( _lock ) { return _lock; }

private:
    friend class MbDispatch;
    friend class MbPoolManager;
    friend class MbResidents;
    friend class MbStateImp;
    friend struct MbTestAccess;

    /// In `_pendingEvents`: the exception that is on its way out of an event comes from a
    /// transition, so the state has changed. Set by the transition, and cleared by whoever catches
    /// the exception, without the lock being given back in between.
    static constexpr std::uint32_t TRANSITION_FAILED = 0x80000000u;
    /// In `_pendingEvents`: the pending events are being sent again. Other threads see it only
    /// during a transition.
    static constexpr std::uint32_t REPLAYING = 0x40000000u;

    MbRegion releaseRegion();
    std::uint64_t getMemorySize() const QV_REQUIRES( _lock ) { return _region.getMemorySize(); }
    /// Waits until the state may have changed.
    /// REQUIRES: the caller isn't in the middle of a transition of this buffer.
    void waitForChange() const QV_REQUIRES( _lock );
    /// The buffer has lost its memory otherwise than by giving it back.
    void leaveManager() noexcept QV_REQUIRES( _lock );
    /// For states, which are entered with the lock held.
    void assumeLocked() const noexcept QV_THREAD_ATTRIBUTE( assert_capability( _lock ) ) {}

    // First what each lock and unlock writes, on as few cache lines as can be; then what is seldom
    // written. Threads that share buffers pass the lines of the first kind to and fro.
    std::uint32_t _lockCount QV_GUARDED_BY( _lock ) = 0;
    const MbState* _state QV_GUARDED_BY( _lock );
    [[no_unique_address]] const LkLock _lock;
    // Its own thread may compare without the lock.
    LkThreadId _transientStateOwner;
    /// The place in the order in which buffers became evictable, see MbResidence.
    MbResidence _residence;
    /// The thread that took all of the locks, or no thread when there are several.
    LkThreadId _locker;
    /// The manager lists the buffer among those that can be evicted. Not so, though it is in memory
    /// and unlocked, where listing it has raised: it can't be evicted then until it is locked
    /// again.
    bool _isListed QV_GUARDED_BY( _lock ) = false;
    // Its transition's thread's own.
    bool _isAskingByTheWay = false;
    /// An MbPoolManager must learn under its lock that the buffer becomes evictable. Written under
    /// both locks, so that either suffices to read it.
    bool _isParked = true;
    /// It is among an MbPoolManager's buffers that have memory. Written under that manager's lock
    /// by the thread that has the buffer in transition.
    bool _isResident = false;

    std::uint32_t _pendingEvents QV_GUARDED_BY( _lock ) = 0;
    LkCounter<int> _pins;
    const RCShdPtr<MbManager> _manager;
    OPtr<MbProtocol> _protocol QV_GUARDED_BY( _lock );
    const LkCondVar _stateChanged;
    MbRegion _region QV_GUARDED_BY( _lock );
    const MbAlignment _alignment;
    const int _size;
};

} // namespace Qv
