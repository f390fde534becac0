#pragma once

#include <base/locks/lkBarrier.h>
#include <base/locks/lkThreadId.h>
#include <resmgt/observers/src/obRelations.h>

#include <atomic>
#include <cstdint>
#include <span>

namespace Qv {

class ObChangeManagerImp;
class ObPass;

/// The innermost pass of the calling thread, in any manager.
extern thread_local constinit ObPass* innermostPass
#if defined( __linux__ )
    __attribute__( ( tls_model( "initial-exec" ) ) )
#endif
    ;

/// One walk over the observers of a subject; in its place another walk begins when it has ended.
///
/// Who may be called: the pass writes the observer that it comes to, issues a barrier, and looks at
/// `_mustReport`; if that is set it resets it under the lock and reads the slot once more. A
/// removal strikes the slots out, sets `_mustReport`, issues a barrier, and reads where the passes
/// stand. One of the two sees what the other did: the call doesn't begin, or the removal waits for
/// its end.
///
/// Who is woken: a removal that sees a pass at the observer sets `_mustReport` once more, issues a
/// second barrier, and waits if the pass is still there. The pass finds that set when it goes on,
/// or when it ends: it writes that it stands nowhere, issues a barrier, and looks. Only then does
/// it give its place up, so that no other pass takes the mark for its own or resets it.
///
/// Order: the observer is written with a release, which the removal acquires: all that a call did
///        comes before the removal's return. The end of a pass is released and acquired too. All
///        else is relaxed, between barriers or under the lock.
class ObPass {
public:
    ObPass() = default;
    ObPass( const ObPass& ) = delete;
    ObPass& operator=( const ObPass& ) = delete;

    /// REQUIRES: the manager's lock is held, and no pass is under way here.
    void begin( const ObChangeManagerImp& manager, ObSlots& slots ) noexcept;
    /// By its thread, without the lock: it stands at the observer, or nowhere for null. Whether it
    /// must report.
    bool standAt( const ObObserverAny* observer, bool isBarrierInFull ) noexcept {
        _current.store( observer, std::memory_order_release );
        LkBarrier::light( isBarrierInFull );
        return _mustReport.load( std::memory_order_relaxed );
    }
    /// By its thread, which has nothing to do with it any more. Its slots remain in use.
    void end() noexcept {
        innermostPass = _outer;
        _isUnderWay.store( false, std::memory_order_release );
    }
    bool isUnderWay() const noexcept { return _isUnderWay.load( std::memory_order_acquire ); }
    /// Under the lock.
    void setMustReport( bool mustReport ) noexcept {
        _mustReport.store( mustReport, std::memory_order_relaxed );
    }

    /// Whether it is in a call of the observer, or about to be. By the pass's own thread, or after
    /// a barrier, or on a thread that can't go on.
    bool isAt( const ObChangeManagerImp& manager, const ObObserverAny* observer ) const noexcept {
        return _manager == &manager && isAt( observer );
    }
    bool isAt( const ObObserverAny* observer ) const noexcept {
        return _current.load( std::memory_order_acquire ) == observer;
    }
    bool isOnThisThread() const noexcept { return _thread == ThreadNumber::get(); }

    /// The thread's pass in whose call it began.
    const ObPass* getOuter() const noexcept { return _outer; }
    ObSlots& getSlots() const noexcept { return *_slots; }
    /// Those that were there as it began.
    std::span<const ObSlots::Slot> getObservers() const noexcept { return _observers; }

private:
    friend class ObPasses;
    void leaveSlots() noexcept;

    /// Written by the pass: where it stands, null when that is nowhere.
    std::atomic<const ObObserverAny*> _current{ nullptr };
    /// Set under the lock by removals, reset there by the pass.
    std::atomic<bool> _mustReport{ false };
    /// Set under the lock, reset by the pass without.
    std::atomic<bool> _isUnderWay{ false };
    // Written under the lock, as a pass begins.
    std::uint32_t _thread = 0;
    const ObChangeManagerImp* _manager = nullptr;
    ObPass* _outer = nullptr;
    std::span<const ObSlots::Slot> _observers;
    /// Kept in use here until the place gets other ones, or `ObPasses::reap` comes by.
    ObSlots* _slots = nullptr;
    /// The manager's passes and places, in no order.
    ObPass* _previous = nullptr;
    ObPass* _next = nullptr;
};

/// The passes of a manager: a few places for those under way, in which a pass begins and ends
/// without memory and ends without the lock. Those beyond are on their threads' stacks, and end
/// under the lock.
///
/// Lock: the manager's, for everything.
class ObPasses {
public:
    ObPasses() noexcept;
    ObPasses( const ObPasses& ) = delete;
    ObPasses& operator=( const ObPasses& ) = delete;
    ~ObPasses();

    /// Null if all are taken.
    ObPass* findPlace() noexcept;
    void insert( ObPass& pass ) noexcept;
    void erase( ObPass& pass ) noexcept;

    /// Those under way, one after another.
    ObPass* getFirst() const noexcept { return skipEnded( _first ); }
    static ObPass* getNext( const ObPass* pass ) noexcept { return skipEnded( pass->_next ); }
    /// Has those that have ended leave their slots.
    void reap() noexcept;

private:
    static constexpr std::size_t NB_PLACES = 4;
    /// Threads write their passes' places without the lock: each has a cache line of its own.
    struct alignas( 64 ) Place : ObPass {};

    static ObPass* skipEnded( ObPass* pass ) noexcept;

    ObPass* _first = nullptr;
    Place _places[NB_PLACES];
};

} // namespace Qv
