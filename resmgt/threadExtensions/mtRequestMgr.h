#pragma once

#include <base/failure/assertions.h>
#include <base/locks/lkLock.h>
#include <resmgt/locks/lkTimedCondVar.h>
#include <resmgt/threadExtensions/mtRequestTag.h>

namespace Qv {

/// Counts the outstanding requests of each producer, so that one can wait for its own.
///
/// Threads:  any.
/// Waiting:  a wait ends with the first fall of the count to 0 after its start; a request that is
///           counted between that and the waiter's return isn't noticed. Nothing else ends it, so
///           it is one wait and no loop.
/// Errors:   an invalid tag is an assertion, and so is a count below 0, after which it is 0 still;
///           the wait for a tag from within one of its own requests, which would never end; and the
///           release of a tag whose count isn't 0.
/// Lifetime: a tag may be released while those whom its zero has woken are still returning. When
///           the manager goes, nobody may wait.
/// Cost:     a count is one atomic operation; only its fall to 0 takes the lock.
///
/// Order: a fall to 0, the look of a waiter and the release all run under the lock, so no one
/// touches a counter that is being released. Decrements release and acquire, so that a waiter
/// sees all that was done for the requests before they were uncounted; increments order nothing.
class QV_RESMGT_API MtRequestMgr {
public:
    class InWork;

    MtRequestMgr();
    MtRequestMgr( const MtRequestMgr& ) = delete;
    MtRequestMgr& operator=( const MtRequestMgr& ) = delete;
    ~MtRequestMgr();

    /// A tag with the count 0.
    MtRequestTag acquireTag();
    /// The tag isn't used any more.
    void releaseTag( MtRequestTag tag );

    /// Counts one request more of the tag.
    void incRequestCount( MtRequestTag tag ) {
        QV_ASSERT( tag.isValid() );
        getCount( tag ).fetch_add( 1, std::memory_order_relaxed );
    }
    /// Counts one request less of the tag.
    void decRequestCount( MtRequestTag tag ) {
        QV_ASSERT( tag.isValid() );
        if( !decrementAboveOne( getCount( tag ) ) ) {
            decrementLast( tag );
        }
    }
    unsigned int getRequestCount( MtRequestTag tag ) const;
    /// Waits until no request with the tag is left.
    void waitRequestCountZero( MtRequestTag tag );
    /// False when the time ran out first; the limit is that of LkTimedWaitable.
    bool timedWaitRequestCountZero( MtRequestTag tag, double seconds );

    /// Whether the calling thread executes a request of this tag just now, however deep.
    bool isInWork( MtRequestTag tag ) const noexcept;
    /// The same for any tag of this manager.
    bool isInWork() const noexcept;

private:
    template <class, class>
    friend class MtGroup;

    enum WaitResult { ZERO, POKED, TIME_OUT };

    /// For threads that run queued requests while they wait: also ends with a poke later than the
    /// one that `getNbPokes` has counted as the last.
    WaitResult waitZeroOrPoke( MtRequestTag tag, std::uint64_t nbPokes, double seconds );
    std::uint64_t getNbPokes() const;
    void poke();

    static std::atomic<std::uint32_t>& getCount( const MtRequestTag& tag ) noexcept {
        return ( *tag._id )->first;
    }
    /// False if the count is 1 or less: its fall to 0 needs the lock.
    static bool decrementAboveOne( std::atomic<std::uint32_t>& count ) noexcept {
        std::uint32_t seen = count.load( std::memory_order_relaxed );
        while( seen > 1 ) {
            if( count.compare_exchange_weak( seen, seen - 1, std::memory_order_acq_rel,
                                             std::memory_order_relaxed ) ) {
                return true;
            }
        }
        return false;
    }
    void decrementLast( const MtRequestTag& tag );
    /// The condition of those who wait for the tag; null when its count is 0.
    RCShdPtr<MtRequestZero> findZero( const MtRequestTag& tag ) QV_REQUIRES( _lock );

    MtRequestTag::Counters _counters QV_GUARDED_BY( _lock );
    std::uint64_t _nbPokes QV_GUARDED_BY( _lock ) = 0;
    const LkLock _lock{ "MtRequestMgr" };
    // For all tags: pokes and zeros.
    const LkTimedCondVar _poked{ "RequestPoked" };
};

/// The calling thread executes a request of this tag while this object lives. Objects nest.
class QV_RESMGT_API MtRequestMgr::InWork {
public:
    InWork( const MtRequestMgr& mgr, const MtRequestTag& tag ) noexcept
        : _mgr( mgr )
        , _tag( tag )
        , _outer( innermost ) {
        innermost = this;
    }
    InWork( const InWork& ) = delete;
    InWork& operator=( const InWork& ) = delete;
    ~InWork() { innermost = _outer; }

private:
    friend class MtRequestMgr;

    /// Of the calling thread.
    static thread_local constinit const InWork* innermost
#if defined( __linux__ )
        __attribute__( ( tls_model( "initial-exec" ) ) )
#endif
        ;

    const MtRequestMgr& _mgr;
    const MtRequestTag _tag;
    const InWork* const _outer;
};

} // namespace Qv
