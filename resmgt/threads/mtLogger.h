#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>

namespace Qv {

class LgQueue;

/// Ties the logger to threads: a queue for each, one thread that reads them all, and the end of
/// both when the process crashes.
///
/// Queues:   each thread's is made ahead of its body, or else by its first statement, and
///           registered. A thread that ends leaves it to the reader, as does one whose adoption by
///           an MtExternalThreadGuard ends.
/// Reading:  "Log_Reader_Thread" sleeps up to 0.32 s when there is nothing to read, in steps of 16
///           ms, after each of which it looks for its end and for those who wait for it.
/// Blocking: with `LgLog::getBlockingTrace` a thread that traces waits for room. Such a wait ends
///           with the room, when blocking is switched off, and with the reader; none begins without
///           a reader.
/// Crash:    once, in the terminate handler, after a foreign exception, in `exit`, and at the end
///           of a process with threads left: the reader outputs what was stamped before, at the
///           highest priority, and ends. The process may live on: statements then write their lines
///           themselves, and what is in the queues after the reader's end is counted when they are
///           destroyed. The thread that crashes waits for the reader at most 5 s.
/// Stalling: a reader that an output has held up at the logger's end is left alone. As long as it
///           is, a later `start` has no reader, and says so on standard error.
/// Forks:    `end` and the crash sequence have no effect in a child.
/// Threads:  `start`, `end` and `resetTerminateHandler` are the package's; everything else is for
///           any.
class QV_RESMGT_API MtLogger {
public:
    class ReaderThread;
    class Registry;

    MtLogger() = delete;

    /// Errors: the assertion "!LgLog::isLoggerActive()"; what prevents the thread's start, after
    ///         which all is as before.
    static void start();
    /// Outputs all that was stamped before, and ends the reader. No effect on what wasn't started.
    static void end();
    /// The calling thread's queue. Null while it is being made, once the thread has freed its data
    /// for good, and without memory.
    static LgQueue* queueCb() noexcept;
    /// The process's terminate handler while the logger runs.
    [[noreturn]] static void terminateHandler() noexcept;
    /// The process's terminate handler is what it was before the logger.
    static void resetTerminateHandler() noexcept;
    /// Makes the calling thread's queue, if it can, before its first statement.
    static void enterThread() noexcept;
    /// The crash sequence. It doesn't end the process.
    static void haltAndFlushOnCrash() noexcept;

private:
    static void readerLoop();
    static void readerFlush();
};

} // namespace Qv
