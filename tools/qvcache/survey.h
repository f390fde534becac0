#pragma once

#include <resmgt/content/ctCacheDirectory.h>

#include <cstdint>
#include <map>
#include <vector>

namespace Qv::Cache {

/// The blocks of one session. Sizes are in bytes.
struct SessionSurvey {
    CtCacheDirectory::State state = CtCacheDirectory::State::UNKNOWN;
    std::uint64_t nbBlocks = 0;
    std::uint64_t nbBytes = 0;
};

/// What lies in a media cache, at about one moment: others may change it meanwhile.
struct Survey {
    /// Of the sessions that have blocks.
    std::map<std::uint32_t, SessionSurvey> sessions;
    std::uint64_t nbBlocks = 0;
    std::uint64_t nbBytes = 0;
    std::uint64_t nbProbes = 0;
    std::uint64_t nbForeign = 0;
    /// All but the levels' directories, by their paths.
    std::vector<CtCacheEntry> entries;
};

std::uint32_t getSession( CtSerialId id ) noexcept;

/// Errors: those of CtCacheDirectory.
Survey makeSurvey( const CtCacheDirectory& cache );

} // namespace Qv::Cache
