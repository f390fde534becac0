#pragma once

#include <tools/qvcomp/options.h>
#include <tools/qvcomp/spill.h>
#include <tools/qvcomp/tileStore.h>

#include <base/ownership/rcShdPtr.h>
#include <resmgt/memoryBuffers/mbBuffer.h>
#include <resmgt/memoryBuffers/mbBufferFactory.h>
#include <resmgt/memoryBuffers/mbManager.h>

#include <cstdint>

namespace Qv::Comp {

/// Tiles in managed buffers: they take at most as much memory as is set, and those that have no
/// room wait in a scratch file.
///
/// Dead locks: a computing thread has at most two tiles, and at most one while it waits for memory;
///             the worker waits for none. With room for two tiles a thread at least one thread
///             always goes on. Operations that are pending at the worker hold tiles as well, so
///             there are never more of them than fit beside those.
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
        OsFilePath scratchFolder;
    };

    /// Errors: Failure when the scratch file can't be made or the memory isn't there.
    ManagedTiles( const Settings& settings, Workers& computing );
    ~ManagedTiles() override;

    std::unique_ptr<TilePlane> createPlane( const std::string& name, int width,
                                            int height ) override;
    std::size_t getPrefetchDepth() const override { return _prefetchDepth; }

    const SpillCounts& getCounts() const noexcept { return _spill.counts; }
    MtPoolSnapshot getTransfers() const { return _spill.worker.getSnapshot(); }
    /// The most bytes that tiles had at one time, looked at each time after a tile was locked.
    std::uint64_t getPeakBytes() const noexcept {
        return _peakBytes.load( std::memory_order_relaxed );
    }

    /// Bytes that `count` tiles take, padding included.
    static std::uint64_t getTileMemory( int tileSide, std::size_t count ) noexcept;
    /// Bytes that this many threads must have for tiles at one time.
    static std::uint64_t getLeastMemory( int tileSide, int threads ) noexcept;

private:
    class Plane;

    MbBuffer createBuffer( const std::string& name );
    void notePeak();

    const int _tileSide;
    /// Bytes.
    const std::uint64_t _capacity;
    /// Whether there is less room than all tiles need.
    const bool _mustSpill;
    /// Tiles that there is room for beside those that the threads must have.
    const std::size_t _spare;
    const std::size_t _prefetchDepth;
    // A maximum that the computing threads raise; hands nothing over.
    std::atomic<std::uint64_t> _peakBytes = 0;
    Spill _spill;
    RCShdPtr<MbManager> _manager;
    OPtr<MbBufferFactory> _factory;
};

} // namespace Qv::Comp
