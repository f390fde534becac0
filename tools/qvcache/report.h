#pragma once

#include <tools/qvcache/options.h>
#include <tools/qvcache/verify.h>

#include <optional>
#include <ostream>
#include <vector>

namespace Qv::Cache {

/// What a run found and did.
struct Report {
    Options options;
    Survey survey;
    /// Of `verify`.
    std::optional<std::vector<Fault>> faults;
    /// Of `prune`; the survey is from before.
    std::optional<CtCacheDirectory::Pruned> pruned;
};

/// Lines for a person, or one JSON object.
void writeReport( std::ostream& stream, const Report& report );

} // namespace Qv::Cache
