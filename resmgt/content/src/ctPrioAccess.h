#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/content/ctCounters.h>
#include <resmgt/content/ctTileId.h>
#include <resmgt/locks/lkCondVarPool.h>
#include <resmgt/profiling/hwCounter.h>

#include <compare>
#include <map>
#include <vector>

namespace Qv {

/// A request's place in the order in which the store is used: the smallest one is next.
struct CtTurn {
    /// Of the first request for the block.
    std::uint64_t timeStamp = 0;
    std::uint64_t serialId = 0;
    unsigned int offset = 0;
    /// Among requests that are equal otherwise.
    std::uint64_t arrival = 0;

    std::strong_ordering operator<=>( const CtTurn& ) const = default;
};

/// The gate of a CtNonAsyncServer: knows which request comes next, and lets no more than so many
/// synchronous ones into the store at the same time.
///
/// Records: a block has one while a request for it is queued, waits or runs. It holds the time of
///          the first of them, which all share, and the condition on which the block's synchronous
///          requests wait.
/// Waking:  the record at the top of the heap, after each entry and each end, as long as there is
///          room. To wake the leaver's own would strand all others.
/// Errors:  an entry that raises has left no trace.
/// Lock:    no other is taken under it but that of the pool of conditions.
class CtPrioAccess {
public:
    class Pass;

    struct Record {
        std::uint64_t timeStamp = HwCounter::timeStamp();
        unsigned int nbRequests = 0;
        /// Made by the first request that has to wait.
        OPtr<LkCondVar> turnCame;
    };
    using Records = std::map<CtSerialId, Record>;
    struct Place {
        Records::iterator record;
        CtTurn turn;
    };

    /// With a `limit` below 1 no request need pass. `tally` counts the waits.
    CtPrioAccess( int limit, CtTally& tally );
    CtPrioAccess( const CtPrioAccess& ) = delete;
    CtPrioAccess& operator=( const CtPrioAccess& ) = delete;
    ~CtPrioAccess();

    /// The place of a request for `tile`, which must be given back.
    Place demand( const CtPxTileId& tile );
    void release( Records::iterator record );

    bool hasLimit() const noexcept { return _limit > 0; }
    /// Waits until it is the turn of a request for `tile`.
    Place enter( const CtPxTileId& tile );
    void leave( const Place& place );

private:
    Place demandNoLock( const CtPxTileId& tile ) QV_REQUIRES( _lock );
    Records::iterator fetchRecord( CtSerialId id ) QV_REQUIRES( _lock );
    void releaseNoLock( Records::iterator record ) QV_REQUIRES( _lock );
    void waitForTurn( Place& place ) QV_REQUIRES( _lock );
    bool isNext( const Place& place ) const QV_REQUIRES( _lock );
    void takeOut( const Place& place ) QV_REQUIRES( _lock );
    void wakeNext() const QV_REQUIRES( _lock );

    const unsigned int _limit;
    CtTally& _tally;
    const LkLock _lock{ "PrioAcessLock" };
    LkCondVarPool _conditions;
    Records _records QV_GUARDED_BY( _lock );
    // Records without a request, for the next ones: as many as there have been at a time.
    std::vector<Records::node_type> _spares QV_GUARDED_BY( _lock );
    // A heap of the places of those who wait, in their frames.
    std::vector<Place*> _waiting QV_GUARDED_BY( _lock );
    unsigned int _nbActive QV_GUARDED_BY( _lock ) = 0;
    std::uint64_t _nbArrived QV_GUARDED_BY( _lock ) = 0;
};

/// A synchronous request's stay in the store; nothing where there is no gate, or no limit.
class CtPrioAccess::Pass {
public:
    Pass( CtPrioAccess* access, const CtPxTileId& tile )
        : _access( access != nullptr && access->hasLimit() ? access : nullptr ) {
        if( _access != nullptr ) {
            _place = _access->enter( tile );
        }
    }
    Pass( const Pass& ) = delete;
    Pass& operator=( const Pass& ) = delete;
    ~Pass() {
        if( _access != nullptr ) {
            _access->leave( _place );
        }
    }

private:
    CtPrioAccess* const _access;
    Place _place;
};

} // namespace Qv
