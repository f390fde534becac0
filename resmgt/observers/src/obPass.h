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
/// Who may be called: the pass reads a slot, writes what it read as the place where it stands,
/// issues a barrier, and looks at its marks; if it must report it does so under the lock and reads
/// the slot once more. A removal marks the passes, strikes the slots out, issues a barrier, and
/// reads where the passes stand. One of the two sees what the other did: the call doesn't begin, or
/// the removal waits for its end.
///
/// Who is woken: a removal that sees a pass at the observer marks it once more, issues a second
/// barrier, and waits if the pass is still there. The pass finds the mark when it goes on, or when
/// it ends: it writes that it stands nowhere, issues a barrier, and looks. Only then does it give
/// its place up, so that no other pass takes the mark for its own or resets it.
///
/// Order: where it stands is written with a release, which the removal acquires: all that a call
///        did comes before the removal's return. A slot is struck out with a release, so that
///        whoever reads that sees its marks, and looks. The end of a pass is released and acquired
///        too. All else is relaxed, between barriers or under the lock.
class ObPass {
public:
    static constexpr std::uintptr_t NOWHERE = 0;

    ObPass() = default;
    ObPass( const ObPass& ) = delete;
    ObPass& operator=( const ObPass& ) = delete;

    /// REQUIRES: the manager's lock is held, and no pass is under way here.
    void begin( const ObChangeManagerImp& manager, ObSlots& slots ) noexcept;
    /// Marks that keep a pass from calling at once.
    enum Marks : unsigned {
        MUST_REPORT = 1,
        /// Some slots are struck out, or may be soon.
        HAS_GAPS = 2,
        /// The system has no barrier for all threads.
        NEEDS_BARRIER = 4,
    };
    /// By its thread, without the lock: stands at what it read from a slot, or nowhere. Returns the
    /// marks, none in most cases; `mustReport` is to be asked about others.
    unsigned standAt( std::uintptr_t slot ) noexcept {
        _current.store( slot, std::memory_order_release );
        LkBarrier::light( false );
        return _marks.load( std::memory_order_relaxed );
    }
    bool mustReport( unsigned marks ) const noexcept {
        if( ( marks & NEEDS_BARRIER ) != 0 ) {
            LkBarrier::light( true );
            marks = _marks.load( std::memory_order_relaxed );
        }
        return ( marks & MUST_REPORT ) != 0;
    }
    /// By its thread, which has nothing to do with it any more. Its slots remain in use.
    void end() noexcept {
        innermostPass = _outer;
        _isUnderWay.store( false, std::memory_order_release );
    }
    bool isUnderWay() const noexcept { return _isUnderWay.load( std::memory_order_acquire ); }
    /// Under the lock: somebody waits for it, or strikes slots out after this.
    void askForReport() noexcept { mark( MUST_REPORT | HAS_GAPS, 0 ); }
    /// By its thread, under the lock.
    void reported() noexcept { mark( 0, MUST_REPORT ); }

    /// Whether it is in a call of the observer, or about to be. By the pass's own thread, or after
    /// a barrier, or on a thread that can't go on.
    bool isAt( const ObChangeManagerImp& manager, const ObObserverAny* observer ) const noexcept {
        return _manager == &manager && isAt( observer );
    }
    bool isAt( const ObObserverAny* observer ) const noexcept {
        return _current.load( std::memory_order_acquire ) ==
               reinterpret_cast<std::uintptr_t>( observer );
    }
    bool isNowhere() const noexcept {
        return ObSlots::getObserver( _current.load( std::memory_order_relaxed ) ) == nullptr;
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
    void mark( unsigned added, unsigned removed ) noexcept {
        _marks.store( ( _marks.load( std::memory_order_relaxed ) | added ) & ~removed,
                      std::memory_order_relaxed );
    }

    /// Written by the pass: a slot's content, an observer that it calls or is about to call.
    std::atomic<std::uintptr_t> _current{ NOWHERE };
    /// Written under the lock.
    std::atomic<unsigned> _marks{ 0 };
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
