#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkLock.h>

#include <cstdint>
#include <vector>

namespace Qv {

class DaDepot;
struct DaThreadCaches;

/// The depots that are alive, so that a thread's end returns nodes only to those.
///
/// Lifetime: made at first use and never destroyed: static objects have pools, and threads end
///           late.
/// Lock:     before a depot's.
class DaDepotRegistry {
public:
    static DaDepotRegistry& getInstance();

    /// The depot's key. Raises `std::bad_alloc`, also beyond 16,777,216 depots.
    std::uint64_t add( DaDepot& depot );
    void remove( const DaDepot& depot ) noexcept;
    /// Gives the depots what the ending thread has of theirs.
    void takeBack( const DaThreadCaches& caches ) noexcept;

private:
    struct Entry {
        /// 0 where one has gone.
        std::uint64_t _key = 0;
        DaDepot* _depot = nullptr;
    };

    const LkLock _lock{ "DaDepotRegistry" };
    // By number.
    std::vector<Entry> _depots QV_GUARDED_BY( _lock );
    std::uint64_t _nbMade QV_GUARDED_BY( _lock ) = 0;
};

} // namespace Qv
