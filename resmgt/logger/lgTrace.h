#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// The trace's way into the log: a line at the level Tracing, of no group.
///
/// Tracing is the only output that may wait for the reader, and only while blocking trace is on
/// (QV_LOG_BLOCKING_TRACE). With QV_SYNCHRONOUS_TRACING lines go to standard output at once, on the
/// calling thread and past the queue.
/// Threads: any.
class QV_RESMGT_API LgTrace {
public:
    LgTrace() = delete;

    /// `mess` is a line without its end; nothing happens for an empty one. Under blocking trace a
    /// text longer than a queue can hold becomes several lines, cut at fixed places; otherwise
    /// what doesn't fit is lost and counted.
    static void print( const char* mess );
};

} // namespace Qv
