#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

/// The work of a group's queue and workers, done and under way, at one moment.
struct QV_RESMGT_API MtPoolSnapshot {
    /// Items that wait in the queue.
    std::uint32_t nbQueued = 0;
    /// The most that ever did.
    std::uint32_t mostQueued = 0;
    /// Items at work, on workers and on threads that work along.
    std::uint32_t nbRunning = 0;
    /// Items whose work has ended, since the group was made; those that were discarded apart.
    std::uint64_t nbDone = 0;
    /// Requests that were dropped.
    std::uint64_t nbDiscarded = 0;
    /// Threads that wait for room in the queue.
    std::uint32_t nbBlockedProducers = 0;
    /// How often a thread has had to, those that still do included.
    std::uint64_t nbWaits = 0;
    /// In seconds: the longest time that a thread has waited for room, those that still wait
    /// included.
    double longestWait = 0.0;
};

/// Writes all of it on one line, without its end.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const MtPoolSnapshot& snapshot );

} // namespace Qv
