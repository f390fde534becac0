#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// Facts of the system that threads depend on.
///
/// Threads: any.
class QV_RESMGT_API MtUtil {
public:
    MtUtil() = delete;

    /// Whether QV_THREAD_NO_REALTIME is above 0, as it is by default.
    static bool isRealTimeDisabled();
    /// Prints the system's configuration through LgTrace, whether any trace level is open or not:
    /// "System Info", "OS Version" and "Other Info". What the system doesn't report is 0.
    static void printSysConf();
    /// Lock nothing; the first says so on the trace level "MtThread".
    static void lockProcessMemory() noexcept;
    /// Takes back what lockProcessMemory did.
    static void unlockProcessMemory() noexcept;
    /// Whether the system can read the `size` bytes at `data`: 1 if it can; 0 if it can't, and
    /// also where no file for the test can be made; -1 for another error, which is printed. A
    /// negative `size` is an assertion.
    static int testWritable( const void* data, int size );
    /// Lets other threads run first.
    static void yield() noexcept;
    /// The machine's processors that are switched on.
    static int getNbProcessors();
    /// As many threads as can make progress at once, at least 1: the processors of the set that the
    /// process was given, cut to the share that its group of processes (cgroup) is granted, rounded
    /// up. What to use as a default for a number of workers.
    static int getNbUsableProcessors();
    static bool isRoot() noexcept { return true; }
    /// The two settings don't exist on this platform: they do nothing.
    static void setSystemScopeDefault( bool isSystemScope ) noexcept;
    static bool isSystemScopeDefault() noexcept { return true; }
    static void setFifoScheduledDefault( bool isFifo ) noexcept;
    static bool isFifoScheduledDefault() noexcept { return false; }
};

} // namespace Qv
