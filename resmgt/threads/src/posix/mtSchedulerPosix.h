#pragma once

#include <resmgt/threads/src/posix/mtProcessorSetPosix.h>

#include <atomic>
#include <map>

#include <sys/types.h>

namespace Qv {

/// What the system's scheduler is asked for single threads, by their numbers.
///
/// Ordinary: a thread's nice value is the process's less three for each level above 0, which is
///           about twice the share each. Level 0 is what the process was given, so that a thread
///           that nobody relates to others isn't slowed, and nothing is lowered that couldn't be
///           raised again. Without the privilege values are cut to RLIMIT_NICE; where that allows
///           none, all threads are alike.
/// Real time: SCHED_RR with the static priority 1, 7 to 11, 16 for the levels 0 to 6, and 9 for
///           threads that have none; cut to RLIMIT_RTPRIO. SCHED_RESET_ON_FORK keeps it from new
///           threads and processes, and stays, as the system lets nobody take it back.
/// Refusals: EPERM and EACCES are no error. The first of each kind is traced.
/// Threads:  any. A thread is named by its number only while it can't end: by itself, or under the
///           lock that its end takes.
class MtSchedulerPosix {
public:
    MtSchedulerPosix() = delete;

    struct Former {
        int policy;
        int priority;
    };
    using Formers = std::map<pid_t, Former>;

    static constexpr int NB_LEVELS = 7;

    /// Remembers what the process was given: its nice value and its processors. At the package's
    /// start.
    static void initialize();
    /// The processors that the process was given.
    static const MtProcessorSetPosix& getProcessSet();

    /// The nice value that a level adds to the process's: 0 to -18. One that is no level aborts the
    /// program.
    static int getNiceStep( int level );
    /// The thread's priority as the process runs now. False if real time is refused.
    static bool applyLevel( pid_t thread, int level );
    /// The same for a thread that may still have the priority of before the switch.
    static bool switchLevel( pid_t thread, int level );
    /// For reports, never a failure: the nice value that the system has for the thread, and the
    /// priority that it is scheduled with, which in real time is the static one.
    static int getNice( pid_t thread ) noexcept;
    static int getScheduledPriority( pid_t thread ) noexcept;
    static void applyProcessors( pid_t thread, const MtProcessorSetPosix& processors );

    static bool isRealTime() noexcept { return _isRealTime.load( std::memory_order_relaxed ); }
    static void setRealTime( bool isRealTime ) noexcept {
        _isRealTime.store( isRealTime, std::memory_order_relaxed );
    }
    /// Gives every thread of the process the real-time priority of those without a level. False if
    /// the system refuses; what was raised before is the caller's to lower. `formers` gets what
    /// wasn't ordinary before.
    static bool raiseAll( Formers& formers );
    /// Makes every thread ordinary that `raiseAll` has reached, or what it was before.
    static void lowerAll( const Formers& formers );

private:
    // Relaxed: whoever applies a level does so under the thread's lock, which the switch takes
    // after it has set this.
    static constinit std::atomic<bool> _isRealTime;
};

} // namespace Qv
