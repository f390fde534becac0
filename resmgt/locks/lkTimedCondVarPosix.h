#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class LkDeadline;
class LkTimedWaitEntry;

/// A place in a circular list; points to itself when off a list.
class LkTimedWaitLinks {
public:
    LkTimedWaitLinks() noexcept
        : _prev( this )
        , _next( this ) {}
    LkTimedWaitLinks( const LkTimedWaitLinks& ) = delete;
    LkTimedWaitLinks& operator=( const LkTimedWaitLinks& ) = delete;

    LkTimedWaitLinks* getPrev() const noexcept { return _prev; }
    LkTimedWaitLinks* getNext() const noexcept { return _next; }
    /// Enters the list before `place`.
    void linkBefore( LkTimedWaitLinks& place ) noexcept {
        _prev = place._prev;
        _next = &place;
        _prev->_next = this;
        place._prev = this;
    }
    /// Nothing happens off a list.
    void unlink() noexcept {
        _prev->_next = _next;
        _next->_prev = _prev;
        _prev = _next = this;
    }

private:
    LkTimedWaitLinks* _prev;
    LkTimedWaitLinks* _next;
};

/// The operating-system face of LkTimedCondVar: a list of the waiting threads' entries, oldest
/// first, under a lock of its own, which isn't held during a wait.
class QV_RESMGT_API LkTimedCondVarPosix {
public:
    explicit LkTimedCondVarPosix( const char* name ) noexcept
        : _name( name ) {}
    LkTimedCondVarPosix( const LkTimedCondVarPosix& ) = delete;
    LkTimedCondVarPosix& operator=( const LkTimedCondVarPosix& ) = delete;

    /// REQUIRES: the caller holds `lock`. False when the deadline came first.
    bool wait( const LkLock& lock, const LkDeadline& deadline ) const;
    /// Wakes one waiter, if there is one.
    void signal() const;
    /// Wakes all waiters.
    void broadcast() const;
    const char* getName() const noexcept { return _name; }

private:
    friend class LkTimedCondVarTest;

    /// Takes the entry off the list; false if a signaller has done so already.
    bool leave( LkTimedWaitLinks& entry ) const;
    /// Null when nobody waits.
    LkTimedWaitEntry* takeOldest() const QV_REQUIRES( _listLock );

    const char* const _name;
    const LkLock _listLock{ "LkTimedCondVarPosix Waiter List" };
    mutable LkTimedWaitLinks _waiters QV_GUARDED_BY( _listLock );
};

} // namespace Qv
