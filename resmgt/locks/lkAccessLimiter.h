#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/locks/lkCondVar.h>

#include <atomic>
#include <iosfwd>

namespace Qv {

/// Shares a budget of grants among its limiters, each of which stands for one client that may hold
/// several.
///
/// A limiter's first grant is never refused: every client makes progress, and with more limiters
/// than the maximum more grants than that are held. A further grant may have to wait, depending on
/// the strategy. If each thread of a client holds a grant and wants another, they wait for the
/// other clients alone.
///
/// Threads: any.
class QV_RESMGT_API LkAccessLimiterGroup : public RCBase<LkCounter<int>> {
public:
    /// When a limiter that already holds grants gets another.
    enum MaxViolationStrategy {
        /// As long as one is left then for every limiter that holds none.
        RESERVE_FOR_IDLE_LIMITERS = 0,
        /// As long as one is available.
        LIMIT_BY_AVAILABLE = 1
    };

    /// `name` is kept, not copied: it must outlive the group. Errors: the assertion
    /// "maxAccesses <= INT_MAX".
    static RCShdPtr<LkAccessLimiterGroup> create( const char* name, unsigned int maxAccesses,
                                                  MaxViolationStrategy strategy );
    LkAccessLimiterGroup( const LkAccessLimiterGroup& ) = delete;
    LkAccessLimiterGroup& operator=( const LkAccessLimiterGroup& ) = delete;

    const char* getName() const noexcept { return _name; }
    unsigned int getMaxAccesses() const noexcept { return _maxAccesses; }
    /// The number of grants that are held.
    unsigned int getGrantCount() const;
    /// The number of limiters.
    unsigned int getNbAccessLimiters() const;
    MaxViolationStrategy getMaxViolationStrategy() const noexcept { return _strategy; }

protected:
    LkAccessLimiterGroup( const char* name, unsigned int maxAccesses,
                          MaxViolationStrategy strategy );
    ~LkAccessLimiterGroup() override;

private:
    friend class LkAccessLimiter;
    // The last drop of a shared pointer.
    friend void Ownership::destroy<LkAccessLimiterGroup>( LkAccessLimiterGroup* ) noexcept;

    using Grants = std::atomic<unsigned int>;

    void addLimiter();
    void removeLimiter();
    void lock( Grants& grants );
    bool tryLock( Grants& grants );
    void unlock( Grants& grants );

    bool mustWait( const Grants& grants ) const QV_REQUIRES( _lock );
    /// The strategy's answer to a limiter that holds grants.
    bool isExhausted() const QV_REQUIRES( _lock );
    void take( Grants& grants ) QV_REQUIRES( _lock );
    void wake() QV_REQUIRES( _lock );

    const char* const _name;
    const MaxViolationStrategy _strategy;
    const unsigned int _maxAccesses;
    // Below 0 when more limiters than the maximum hold a grant.
    int _available QV_GUARDED_BY( _lock );
    const LkLock _lock{ "LkAccessLimiter lock" };
    const LkCondVar _waitCond{ "LkAccessLimiter waitCond" };
    unsigned int _nbWaiters QV_GUARDED_BY( _lock ) = 0;
    unsigned int _nbLimiters QV_GUARDED_BY( _lock ) = 0;
    // How many hold a grant.
    int _nbActive QV_GUARDED_BY( _lock ) = 0;
};

/// One client of an LkAccessLimiterGroup; LkGuard<const LkAccessLimiter> holds a grant.
///
/// Threads:  any, also several of one client at a time.
/// Lifetime: keeps its group alive. All its grants must be back before it is destroyed; this isn't
///           checked, and the group would lack them for good. Its end wakes those for whom it held
///           grants in reserve.
/// Errors:   a wait that raises has taken nothing.
class QV_RESMGT_API QV_CAPABILITY( "limiter" ) LkAccessLimiter {
public:
    explicit LkAccessLimiter( const RCShdPtr<LkAccessLimiterGroup>& group );
    LkAccessLimiter( const LkAccessLimiter& ) = delete;
    LkAccessLimiter& operator=( const LkAccessLimiter& ) = delete;
    ~LkAccessLimiter();

    /// The number of grants it holds. A snapshot, as the next.
    unsigned int getAccessGrants() const noexcept {
        return _grants.load( std::memory_order_relaxed );
    }
    bool isLocked() const noexcept { return getAccessGrants() > 0; }
    /// Not supported: grants belong to no thread. Errors: always ExProgramAborted.
    [[noreturn]] bool isLockedByThread() const;
    const char* getName() const noexcept { return _group->getName(); }
    const RCShdPtr<LkAccessLimiterGroup>& getGroup() const noexcept { return _sharedGroup; }
    /// Writes the state, for people.
    void dump( std::ostream& stream ) const;

private:
    friend class LkGuard<LkAccessLimiter>;
    friend class LkGuard<const LkAccessLimiter>;
    friend class LkAccessLimiterTest;

    /// Always true: each lock wants its unlock.
    bool lock() const QV_ACQUIRE();
    /// Answers at once whether the caller got a grant.
    bool tryLock() const QV_TRY_ACQUIRE( true );
    void unlock() const QV_RELEASE();

    const RCShdPtr<LkAccessLimiterGroup> _sharedGroup;
    LkAccessLimiterGroup* const _group;
    // Written under the group's lock; atomic for those who look without it.
    mutable LkAccessLimiterGroup::Grants _grants{ 0 };
};

} // namespace Qv
