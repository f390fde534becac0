#pragma once

#include <tools/qvcomp/asyncWorker.h>
#include <tools/qvcomp/scratchFile.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>

namespace Qv::Comp {

/// What the managed tiles have done. Counted by all threads; the counts hand nothing over, so they
/// are read and written with relaxed order.
struct SpillCounts {
    std::atomic<std::uint64_t> tiles = 0;
    std::atomic<std::uint64_t> evictions = 0;
    std::atomic<std::uint64_t> reloads = 0;
    /// Those of the reloads that a worker did ahead of need.
    std::atomic<std::uint64_t> prefetches = 0;
    std::atomic<std::uint64_t> bytesWritten = 0;
    std::atomic<std::uint64_t> bytesRead = 0;
};

/// Keeps the first error of operations that nobody waits for.
///
/// Threads: any.
class FailureNote {
public:
    void keep( std::exception_ptr failure );
    /// Raises the error if there is one.
    void raise() const;

private:
    mutable std::mutex _lock;
    std::exception_ptr _failure;
    // Set after the error under the lock, which the reader takes before it uses the error.
    std::atomic<bool> _isSet = false;
};

/// What the tiles of a store share for their way to the disk and back.
struct Spill {
    Spill( const OsFilePath& folder, std::size_t tileBytes, Workers& computing,
           std::size_t maxPending )
        : scratch( folder, tileBytes )
        , worker( computing, maxPending ) {}

    SpillCounts counts;
    FailureNote failure;
    ScratchFile scratch;
    AsyncWorker worker;
};

} // namespace Qv::Comp
