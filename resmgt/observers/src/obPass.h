#pragma once

#include <base/locks/lkThreadId.h>
#include <resmgt/observers/src/obRelations.h>

#include <atomic>
#include <cstdint>

namespace Qv {

class ObChangeManagerImp;

/// One walk over the observers of a subject, on the stack of the thread that makes it.
///
/// Who may be called: the pass writes the observer that it comes to, issues a barrier, and looks at
/// `_mustReport`; if that is set it resets it under the lock and reads the slot once more. A
/// removal strikes the slots out, sets `_mustReport`, issues a barrier, and reads where the passes
/// stand. One of the two sees what the other did: the call doesn't begin, or the removal waits for
/// its end.
///
/// Who is woken: a removal that sees a pass at the observer sets `_mustReport` once more, issues a
/// second barrier, and waits if the pass is still there. It finds that set when it goes on, or
/// under the lock when it ends.
///
/// Order: the observer is written with a release, which the removal acquires: all that a call did
///        comes before the removal's return. All else is relaxed, between barriers or under the
///        lock.
class ObPass {
public:
    /// REQUIRES: the manager's lock is held, here and at the end.
    ObPass( const ObChangeManagerImp& manager, ObSlots& slots, ObPass*& newest ) noexcept;
    ObPass( const ObPass& ) = delete;
    ObPass& operator=( const ObPass& ) = delete;
    ~ObPass();

    /// Whether it is in a call of the observer, or about to be. By the pass's own thread, or after
    /// a barrier, or on a thread that can't go on.
    bool isAt( const ObChangeManagerImp& manager, const ObObserverAny* observer ) const noexcept {
        return &_manager == &manager && isAt( observer );
    }
    bool isAt( const ObObserverAny* observer ) const noexcept {
        return _current.load( std::memory_order_acquire ) == observer;
    }
    bool isOnThisThread() const noexcept { return _thread == ThreadNumber::get(); }

    /// The innermost pass of the calling thread, in any manager.
    static const ObPass* getInnermost() noexcept;
    const ObPass* getOuter() const noexcept { return _outer; }

    ObSlots& _slots;
    /// Those that are there as it begins.
    const std::span<const ObSlots::Slot> _observers;
    /// Written by the pass: where it stands, null when that is nowhere.
    std::atomic<const ObObserverAny*> _current{ nullptr };
    /// Set under the lock by removals, reset by the pass.
    std::atomic<bool> _mustReport{ false };
    /// The manager's next older pass.
    ObPass* _next;

private:
    const ObChangeManagerImp& _manager;
    ObPass*& _newest;
    ObPass* const _outer;
    const std::uint32_t _thread = ThreadNumber::get();
    ObPass* _previous = nullptr;
};

} // namespace Qv
