#pragma once

#include <tools/qvcomp/options.h>
#include <tools/qvcomp/tileCache.h>
#include <tools/qvcomp/tileStore.h>
#include <tools/qvcomp/workers.h>

#include <base/ownership/rcShdPtr.h>
#include <mediaTiles/tiStore.h>
#include <resmgt/memoryBuffers/mbBuffer.h>
#include <resmgt/memoryBuffers/mbBufferFactory.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/threads/priorityRelation.h>

#include <atomic>
#include <cstdint>

namespace Qv::Comp {

/// Tiles in managed buffers: they take at most as much memory as is set, and those that have no
/// room wait in the media cache.
///
/// Deadlocks:  a computing thread has at most two tiles, and at most one while it waits for memory;
///             transfers that are under way have tiles as well, and end without anybody's help, see
///             TiProtocol. With room for two tiles a thread at least one thread always goes on.
/// Priority:   the computing threads are no higher than the cache's, or they would starve what is
///             brought in for them.
class ManagedTiles : public TileStore {
public:
    struct Settings {
        int tileSide;
        int threads;
        /// Tiles that there is room for if memory has no limit.
        std::size_t workingTiles;
        /// Bytes; at least `getLeastMemory`.
        std::optional<std::uint64_t> memory;
        Strategy strategy;
        Policy policy;
        Manager manager;
        TileCache::Settings cache;
    };

    /// Errors: Failure when the cache can't be had or the memory isn't there.
    ManagedTiles( const Settings& settings, Workers& computing );
    ~ManagedTiles() noexcept override;

    std::unique_ptr<TilePlane> createPlane( const std::string& name, int width,
                                            int height ) override;
    std::size_t getPrefetchDepth() const override { return _prefetchDepth; }

    /// Bytes that tiles take at most: the limit, or less where they need no more.
    std::uint64_t getCapacity() const noexcept { return _capacity; }
    std::uint64_t getNbTiles() const noexcept { return _nbTiles.load( std::memory_order_relaxed ); }
    TiCounts getCounts() const noexcept { return _tiles->getCounts(); }
    CtFileServer& getServer() const noexcept { return _cache.getServer(); }
    /// From here on. While no thread has a tile.
    void restartPeak() noexcept { _peakBytes.store( 0, std::memory_order_relaxed ); }
    /// The most bytes that tiles had at one time, looked at each time after a tile was locked.
    std::uint64_t getPeakBytes() const noexcept {
        return _peakBytes.load( std::memory_order_relaxed );
    }

    /// Bytes that `count` tiles take, padding included.
    static std::uint64_t getTileMemory( int tileSide, bool isUnbuffered,
                                        std::size_t count ) noexcept;
    /// Bytes that this many threads must have for tiles at one time.
    static std::uint64_t getLeastMemory( int tileSide, bool isUnbuffered, int threads ) noexcept;

private:
    class Plane;

    MbBuffer createBuffer( const std::string& name );
    void notePeak();

    const int _tileSide;
    const std::size_t _alignment;
    const std::uint64_t _capacity;
    /// 0 also where all tiles have room.
    const std::size_t _prefetchDepth;
    // A maximum that the computing threads raise; hands nothing over.
    std::atomic<std::uint64_t> _peakBytes = 0;
    // Counts of all threads; they hand nothing over.
    std::atomic<std::uint64_t> _nbTiles = 0;
    std::atomic<std::uint64_t> _nbEvictions = 0;
    const TileCache _cache;
    const PriorityRelation _neverAbove;
    const RCShdPtr<TiStore> _tiles;
    RCShdPtr<MbManager> _manager;
    OPtr<MbBufferFactory> _factory;
};

} // namespace Qv::Comp
