#pragma once

#include <tools/qvcomp/passes.h>
#include <tools/qvcomp/tileStore.h>
#include <tools/qvcomp/workers.h>

#include <functional>

namespace Qv::Comp {

/// One step of the work: something done for each tile of a plane, tile by tile independent.
struct TilePass {
    std::string name;
    /// The tiles in the order in which they are begun.
    std::vector<TilePos> order;
    /// The tiles that the work for one tile will read, in that order.
    std::function<std::vector<TileRef>( TilePos )> getInputs;
    std::function<void( TilePos )> work;
};

/// Runs passes on workers and on the calling thread.
///
/// Prefetching: before a thread works on a tile, while it has access to none, it asks for the
///              inputs of the tile that comes up after those now in work.
/// Errors:      the first error of any thread; the others stop at their next tile. None of them
///              works any more when `run` returns or raises.
class PassRunner {
public:
    PassRunner( Workers& workers, std::size_t prefetchDepth, Passes& passes );

    void run( const TilePass& pass );
    Passes& getPasses() noexcept { return _passes; }

private:
    const unsigned _nbWorkers;
    Producer _producer;
    std::size_t _prefetchDepth;
    Passes& _passes;
};

/// All tiles of `plane`, row by row.
std::vector<TilePos> orderByRows( const TilePlane& plane );
/// All tiles of `plane`, column by column.
std::vector<TilePos> orderByColumns( const TilePlane& plane );

} // namespace Qv::Comp
