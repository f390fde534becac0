#pragma once

#include <tools/qvcomp/passes.h>
#include <tools/qvcomp/tileStore.h>
#include <tools/qvcomp/workers.h>

#include <functional>
#include <vector>

namespace Qv::Comp {

/// A piece of the work that depends on no other of the same step.
struct Unit {
    /// The tiles that the work will read, in that order.
    std::function<std::vector<TileRef>()> getInputs;
    std::function<void()> work;
    /// Of the pass's kinds of work.
    std::size_t kind = 0;
    /// Of the whole pass, from 0 to 1.
    double part = 0.0;
};

/// Runs the steps of a pass on workers and on the calling thread.
///
/// Prefetching: before a thread works on a unit, while it has access to no tile, it asks for the
///              inputs of the unit that comes up after those now in work.
/// Errors:      the first error of any thread; the others stop at their next unit. None of them
///              works any more when `run` returns or raises.
class PassRunner {
public:
    PassRunner( Workers& workers, std::size_t prefetchDepth, Passes& passes );

    /// Begins the units in their order, and waits until all are done.
    void run( const std::vector<Unit>& units );
    Passes& getPasses() noexcept { return _passes; }

private:
    const unsigned _nbWorkers;
    Producer _producer;
    std::size_t _prefetchDepth;
    Passes& _passes;
};

} // namespace Qv::Comp
