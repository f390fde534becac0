#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Lets the calling thread sleep. There are two in the process: a plain one, which counts in
/// milliseconds, and one of high resolution.
///
/// Signals:  a handler that runs meanwhile doesn't shorten a sleep.
/// Odd times: one that isn't above zero, or isn't a number, returns at once; beyond a hundred
///           years it is a hundred years. What the machine is suspended doesn't count.
/// Threads:  any. Both are there while the package is started; `getInstance` and its kin raise an
///           InSingletonEx before and after.
/// Errors:   ExSysErrorWindows when the system refuses.
class QV_RESMGT_API Sleeper {
public:
    /// Sleeps whole milliseconds, rounded down: a shorter time returns at once. The system may add
    /// the thread's timer slack, commonly 0.05 ms, to save wake-ups.
    static Sleeper& getInstance();
    /// Sleeps to the nanosecond, less than 0.2 ms longer than asked on an idle machine. Costs two
    /// system calls more a sleep, under a microsecond: the thread's timer slack is at its least
    /// during the sleep, and as before after it. A thread needs no preparation on this platform.
    static Sleeper& getHighResInstance();

    /// At the package's start and stop.
    static void initialize();
    /// Ends the sleepers, at the package's stop.
    static void finalize();

    /// In seconds, by the clock that the sleeper sleeps by; only differences have a meaning.
    virtual double getCurrentTime() const = 0;
    /// In seconds: for the plain one the system's tick, in which it reckons coarse time.
    virtual double getResolution() const = 0;
    /// Sleeps for at least so many seconds.
    virtual void sleep( double seconds ) const = 0;
    /// False, without having slept, when the system has no timer left; that is never on this
    /// platform.
    virtual bool sleepIfPossible( double seconds ) const;
    virtual ~Sleeper() = default;

private:
    static OPtrRet<Sleeper> performCreate();
    static OPtrRet<Sleeper> performCreateHighRes();
};

} // namespace Qv
