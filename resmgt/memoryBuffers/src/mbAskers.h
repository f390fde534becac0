#pragma once

#include <base/locks/lkThreadId.h>
#include <resmgt/locks/lkEvent.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Qv {

class MbBufferImp;

/// The threads that wait for memory of a manager, in the order in which they came.
///
/// Handing over: each return (a buffer becomes evictable, or memory is given back) wakes one asker,
///     the first that is asleep. One that can't be served, or leaves room behind, wakes the next
///     to whom it is of use. So for each return an asker looks after it, and nobody else is
///     disturbed. One that is awake, evicting for instance, looks again by itself before it sleeps;
///     it isn't counted on, since its victim's protocol may need another asker's help.
/// Large requests: smaller ones may overtake the first asker. When they have done so MAX_OVERTAKEN
///     times, all others wait until it has been served, but for those that hold memory themselves:
///     it may be theirs for which the first one waits. Where they have waited in vain they go on,
///     and so twice as often the next time: it may wait for what never comes.
/// Order: an asker enters, and then looks at all buffers that were evictable by then; whoever makes
///     a buffer evictable draws its ticket, and then looks whether there are askers. Both in one
///     order of all threads, so that not both can miss the other: see MbResidents::drawTicket. What
///     is returned under the manager's lock needs no order of its own.
///
/// Lock: the manager's, for all but `areWaiting`. An event is set without it: an asker that is
///     marked as woken passes its event before it goes on.
class MbAskers {
public:
    class Asker;

    static constexpr unsigned MAX_OVERTAKEN = 16;

    MbAskers() = default;
    MbAskers( const MbAskers& ) = delete;
    MbAskers& operator=( const MbAskers& ) = delete;

    bool areWaiting() const noexcept { return _nbAskers.load( std::memory_order_seq_cst ) != 0; }

    void enter( Asker& asker ) noexcept;
    /// Answers whether all others had to wait for this one.
    bool leave( Asker& asker ) noexcept;
    /// Lets those that are awake look at all once more.
    void countReturn() noexcept { ++_nbReturns; }
    /// Counts a return. Answers the asker to wake, marked as woken, or null.
    [[nodiscard]] Asker* takeReturn() noexcept;
    /// The first one that is asleep, for whose buffer `isOfUse( buffer )` answers true, marked as
    /// woken; null where there is none. Only those behind `self`, an asker in the queue, or all
    /// others.
    template <class IsOfUse>
    [[nodiscard]] Asker* takeNext( const Asker& self, bool isOnlyBehind, IsOfUse isOfUse ) noexcept;
    /// Somebody else than the first asker is served.
    void countServed( const Asker& asker ) noexcept;
    /// Whether another asker must be served first.
    bool mustWait( const Asker& asker ) const noexcept;
    /// The askers of this thread needn't wait for the first one.
    void letOvertake( unsigned long thread ) noexcept;
    /// Nobody need wait for the first one for a while.
    void letAllOvertake() noexcept;

    std::uint64_t getNbReturns() const noexcept { return _nbReturns; }
    /// Calls `visit( asker )` for each.
    template <class Visit>
    void forEach( Visit visit ) const;

private:
    static void mark( Asker& asker ) noexcept;
    bool isFirstAlone() const noexcept;

    // Read by each last unlock, written only by those who wait.
    alignas( 64 ) std::atomic<std::uint32_t> _nbAskers{ 0 };
    alignas( 64 ) Asker* _first = nullptr;
    Asker* _last = nullptr;
    std::uint64_t _nbReturns = 0;
};

/// One of them, on the waiting thread's stack.
class MbAskers::Asker {
public:
    explicit Asker( MbBufferImp& buffer ) noexcept
        : _buffer( buffer ) {
        _thread.setCurrentThread();
    }
    Asker( const Asker& ) = delete;
    Asker& operator=( const Asker& ) = delete;

    MbBufferImp& getBuffer() const noexcept { return _buffer; }
    bool isIn() const noexcept { return _isIn; }
    /// And nobody has woken it.
    bool isAsleep() const noexcept { return _isAsleep; }
    const LkThreadId& getThread() const noexcept { return _thread; }

    /// Lets the marked asker pass. Without the manager's lock; the last access to the asker.
    void wake() { _event.set(); }
    /// With the manager's lock, before `sleep`: from now on it can be woken.
    void fallAsleep() noexcept { _isAsleep = true; }
    /// Sleeps until it is woken, at most `seconds`. Without the manager's lock.
    void sleep( double seconds ) { static_cast<void>( _event.timedWait( seconds ) ); }
    /// With the lock, after `sleep`: whether the asker has been woken.
    bool takeWakeUp();

private:
    friend class MbAskers;

    MbBufferImp& _buffer;
    LkThreadId _thread;
    LkEvent _event{ "MbAskers asker", false };
    Asker* _previous = nullptr;
    Asker* _next = nullptr;
    unsigned _nbOvertaken = 0;
    unsigned _maxOvertaken = MAX_OVERTAKEN;
    bool _mayOvertake = false;
    bool _isIn = false;
    bool _isAsleep = false;
    bool _isWoken = false;
};

template <class IsOfUse>
MbAskers::Asker* MbAskers::takeNext( const Asker& self, bool isOnlyBehind,
                                     IsOfUse isOfUse ) noexcept {
    for( Asker* next = isOnlyBehind ? self._next : _first; next != nullptr; next = next->_next ) {
        if( next != &self && next->_isAsleep && !mustWait( *next ) && isOfUse( next->_buffer ) ) {
            mark( *next );
            return next;
        }
    }
    return nullptr;
}

template <class Visit>
void MbAskers::forEach( Visit visit ) const {
    for( const Asker* asker = _first; asker != nullptr; asker = asker->_next ) {
        visit( *asker );
    }
}

} // namespace Qv
