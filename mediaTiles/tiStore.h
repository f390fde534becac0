#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkCounter.h>
#include <base/locks/lkLock.h>
#include <base/ownership/rcBase.h>
#include <mediaTiles/mediaTilesApi.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

namespace Qv {

class CtServer;
class TiBlockPool;

/// Counts of what the tiles of a store have done.
struct QV_MEDIATILES_API TiCounts {
    /// Tiles that left memory for another one.
    std::uint64_t nbEvictions = 0;
    /// Tiles that were written to the server.
    std::uint64_t nbSaves = 0;
    /// Tiles that were read back.
    std::uint64_t nbReloads = 0;
    /// Those of the reloads that were asked for ahead of need.
    std::uint64_t nbPrefetches = 0;
};

/// The blocks of a content server in which tiles wait that memory has no room for; shared by their
/// protocols.
///
/// Blocks:   are made when tiles are saved for the first time, and hold several tiles of one size,
///           more the more there are. When a tile ends its place goes to the next tile of its size
///           that is saved for the first time. All blocks are removed with the store, which its
///           last protocol ends; what can't be removed is logged.
/// Hints:    the server's, such as open files, are kept between requests: by all stores of the
///           process together at most as many as QV_MAX_NB_OPEN_FILES says, and as half of the
///           descriptors that the process may have open when a store is made. The least recently
///           used go first.
/// Lifetime: the server outlives the store.
/// Threads:  any.
class QV_MEDIATILES_API TiStore final : public RCBase<LkCounter<int>> {
public:
    explicit TiStore( CtServer& server );
    TiStore( const TiStore& ) = delete;
    TiStore& operator=( const TiStore& ) = delete;
    ~TiStore() override;

    CtServer& getServer() const noexcept { return _server; }
    TiCounts getCounts() const noexcept;

private:
    friend class TiProtocol;

    /// For tiles of `size` bytes.
    TiBlockPool& getPool( unsigned int size );

    CtServer& _server;
    const LkLock _lock{ "ti-store" };
    /// By the size of their tiles.
    std::map<unsigned int, std::unique_ptr<TiBlockPool>> _pools QV_GUARDED_BY( _lock );

    // Counted by all threads; they order nothing, so relaxed.
    std::atomic<std::uint64_t> _nbEvictions{ 0 };
    std::atomic<std::uint64_t> _nbSaves{ 0 };
    std::atomic<std::uint64_t> _nbReloads{ 0 };
    std::atomic<std::uint64_t> _nbPrefetches{ 0 };
};

} // namespace Qv
