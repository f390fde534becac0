#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkLock.h>
#include <resmgt/dynamicAllocation/src/daMagazineSlots.h>
#include <resmgt/locks/lkSList.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Qv {

struct DaThreadCache;

/// What the threads that use one size class of a cached pool share: whole magazines, the empty ones
/// among them, and single nodes, where a thread had no full magazine to put.
///
/// Threads:   any; construction and destruction exclude all but a thread's end.
/// Lock:      none on the way of nodes. One guards the making of magazines, with each chunk and
///            each thread that comes.
/// Magazines: as many as all nodes fill, and two a thread. So whoever fills one finds an empty one,
///            but for the moment in which another has three; then the node goes to the single ones.
class DaDepot {
public:
    explicit DaDepot( std::size_t nodeSize );
    DaDepot( const DaDepot& ) = delete;
    DaDepot& operator=( const DaDepot& ) = delete;
    ~DaDepot();

    /// The number of this depot in the lower 24 bits, which later ones may have again; in the
    /// others what no other depot ever has. Not 0.
    std::uint64_t getKey() const noexcept { return _key; }

    /// See DaNodeCache::reserve.
    void reserve( std::size_t nbNodes );
    /// Makes or refills the calling thread's cache, null if it has none, and pops. Null if there is
    /// no node.
    LkSListNode* popSlowly( DaThreadCache* cache ) noexcept;
    /// Makes or empties the calling thread's cache, null if it has none, and pushes.
    void pushSlowly( DaThreadCache* cache, LkSListNode* node ) noexcept;
    /// Takes all that the cache holds, at its thread's end.
    void takeBack( const DaThreadCache& cache ) noexcept;

private:
    DaThreadCache* makeCache() noexcept;
    void addThread();
    void removeThread() noexcept;
    void makeMagazines() QV_REQUIRES( _lock );
    void load( DaThreadCache& cache, DaMagazine* magazine, bool isFull ) noexcept;
    bool refill( DaThreadCache& cache ) noexcept;
    bool makeSpace( DaThreadCache& cache ) noexcept;
    LkSListNode* popShared() noexcept;
    LkSListNode* takeSingles() noexcept;
    void takeApart( DaMagazine* magazine, std::size_t nbNodes ) noexcept;

    const std::size_t _capacity;
    const std::uint64_t _key;
    alignas( 64 ) DaMagazineSlots _full;
    alignas( 64 ) DaMagazineSlots _empty;
    // Removed all at once, never one.
    alignas( 64 ) LkSList _singles;
    LkLock _lock{ "DaDepot" };
    std::vector<std::unique_ptr<DaMagazine>> _magazines QV_GUARDED_BY( _lock );
    std::size_t _nbNodes QV_GUARDED_BY( _lock ) = 0;
    std::size_t _nbThreads QV_GUARDED_BY( _lock ) = 0;
};

} // namespace Qv
