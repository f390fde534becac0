#pragma once

#include <resmgt/threadExtensions/mtAlarmHandle.h>

namespace Qv {

class Priority;

/// Fires the process's alarms, on one thread of its own, "Alarm_Thread".
///
/// Clock:    steady; no change of the calendar moves an alarm, and time in suspension doesn't
///           count.
/// Order:    by time, and among equal times by arming.
/// Overdue:  an alarm whose time has passed, since a call-back has taken long for instance, fires
///           at once. A repeated one keeps to the times that are whole durations after its arming:
///           for all those that have passed it fires once, and goes on with the next.
/// Threads:  any; also the call-backs.
/// Start:    the thread starts with the first alarm, and ends with the package threadExtensions,
///           at whose stop all armed alarms are dropped.
/// Errors:   arming before the package's start and after its stop is the assertion "isStarted()". A
///           thread that can't be started raises what MtThread::start does, and nothing is armed.
/// Cost:     arming and cancelling are a lock operation and a few steps in a heap; the thread wakes
///           only for what is due. A call comes some 0.1 ms late on an idle machine.
class QV_RESMGT_API MtAlarmManager {
public:
    static MtAlarmManager& getInstance();

    MtAlarmManager( const MtAlarmManager& ) = delete;
    MtAlarmManager& operator=( const MtAlarmManager& ) = delete;
    virtual ~MtAlarmManager();

    /// Arms the alarm: it fires its duration from now. One that is armed already begins anew.
    /// Errors: the assertion "callback != nullptr" for one without a call-back.
    virtual void registerAlarm( const MtAlarmHandle& alarm ) = 0;
    /// Disarms the alarm, and returns when its call-back can't run any more: waits for one that is
    /// running, and drops what is armed of this alarm meanwhile. So the caller holds no lock that
    /// the call-back takes. Within any call-back it returns at once: that of another alarm isn't
    /// running then, and its own doesn't run again unless it arms itself anew. Answers whether the
    /// alarm was armed; nothing happens to one that wasn't, nor to a null handle.
    virtual bool cancelAlarm( const MtAlarmHandle& alarm ) = 0;
    /// Whether a further call is to come.
    virtual bool isArmed( const MtAlarmHandle& alarm ) const = 0;

    /// The thread's node in the graph of priorities, for relations that end before the package
    /// does. The thread starts with this too.
    virtual Priority& getPriority() = 0;

protected:
    MtAlarmManager();
};

} // namespace Qv
