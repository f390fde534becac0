#pragma once

#include <tools/qvcomp/options.h>
#include <tools/qvcomp/passes.h>

#include <resmgt/threadExtensions/mtPoolSnapshot.h>

#include <ostream>

namespace Qv::Comp {

/// What a run did. Sizes are in bytes.
struct Report {
    Options options;
    /// Empty without one.
    std::string logFile;
    std::uint64_t workingSet = 0;
    std::uint64_t peakTiles = 0;
    std::uint64_t peakProcess = 0;
    std::uint64_t tiles = 0;
    std::uint64_t evictions = 0;
    std::uint64_t reloads = 0;
    std::uint64_t prefetches = 0;
    std::uint64_t bytesWritten = 0;
    std::uint64_t bytesRead = 0;
    /// The passes on the workers, and reading ahead and writing early.
    MtPoolSnapshot computing;
    MtPoolSnapshot transfers;
    /// In their order.
    std::vector<PassRecord> passes;
    double seconds = 0.0;
};

/// Lines for a person, or one JSON object.
void writeReport( std::ostream& stream, const Report& report );

/// The most memory that this process has had so far, in bytes.
std::uint64_t getPeakProcessMemory();

} // namespace Qv::Comp
