#pragma once

#include <base/callbacks/cbHandler.h>
#include <base/containers/vector.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcStrongPtr.h>
#include <resmgt/fileMonitoring/osFileEvent.h>
#include <resmgt/osal/osFileInfo.h>
#include <resmgt/osal/osFilePath.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace Qv {

class OsFileMonitorImp;

/// Reports which of the watched files were created, deleted or changed, on local and on network
/// volumes alike: one thread, "File Monitor", looks at them again and again.
///
///     CbMethod<Viewer, const OsFileEvent> _changed{ *this, &Viewer::fileChanged };
///     ...
///     OsFileMonitor::getInstance()->addWatch( "/shots/a.exr", &_changed );
///
/// Passes: one look at each watched file, in the order of the paths; then the thread rests. What
///           comes and goes between two looks isn't seen, nor is a change that leaves size, owner,
///           kind and times as they were.
/// Baseline: the state that the next pass finds, or the one that the client has seen. A file that
///           can't be asked about then has the first state that is found as its baseline.
/// Events:   a state that one pass shows and not the one before gives exactly one event, to each
///           handler that is registered by then, in the order of passes and paths. They come
///           through the EvEventManager. Without one, or without memory, the next pass tries again.
/// Handlers: run on the application's main thread, with no lock held, so they may call everything
///           here. An exception of one goes to the code that executes events, when the others have
///           had their turn; of several exceptions the first, and the rest is logged. One that is
///           destroyed while registered is destroyed on the main thread; its watch ends with its
///           next event.
/// Names:    are literal, "*" too. Links are followed: a link that leads nowhere is no file. A
///           directory is watched as a file is, by its own times. A relative path begins at the
///           working directory of the moment.
/// Faults:   a file that can't be asked about keeps the state that is known of it. That is logged
///           once, until a query succeeds again, and the pass goes on.
/// Waiting:  only `pause`, `iterateAsap( true )`, `getMonitoredFiles` and the end wait for a query
///           that is under way, as one to a server that doesn't answer. `ignorePendingEvents` makes
///           its own.
/// Threads:  any, at the same time; from the package's start to its stop.
/// Lifetime: one instance, from the first use until the package stops. Events that come later do
///           nothing, as do those of a watch that has been removed, also if it was made anew.
class QV_RESMGT_API OsFileMonitor {
public:
    /// Whom events are reported to.
    using Handler = CbHandler<const OsFileEvent>;
    struct Snapshot;

    /// The states of a file for which its handler is called.
    enum Form {
        /// Each that a pass finds.
        EACH_STATE,
        /// Those in which two passes in a row found the file: no half-written ones, if writing
        /// doesn't rest for as long as a pass does. The same state as before is no event.
        SETTLED_STATES
    };

    /// At the package's start and stop. The stop waits for a query that is under way.
    static void initialize();
    /// Ends the monitor, at the package's stop.
    static void finalize();

    /// The instance, which is made with the configured intervals on first use.
    ///
    /// Errors: InSingletonEx before the package's start and after its stop; what the system refuses
    ///         when the thread starts: nothing is left then, and the next use tries again.
    static OsFileMonitor* getInstance();
    /// Makes the instance with these intervals, in seconds, unless there is one. The first is how
    /// long the thread rests between two passes, where less than 0.01 counts as 0.01; the second
    /// between two files.
    static void createInstance( double iterationInterval, double fileInterval );
    /// The configured intervals, in seconds: `ombra::fileMonitor::fileInterval` and
    /// `ombra::fileMonitor::iterationInterval`.
    static double getDefaultIntervalBetweenFiles();
    static double getDefaultIntervalBetweenIterations();

    OsFileMonitor( const OsFileMonitor& ) = delete;
    OsFileMonitor& operator=( const OsFileMonitor& ) = delete;
    ~OsFileMonitor();

    /// Calls `handler`, which stays the caller's, for what happens to the file from the next pass
    /// on. One that is registered so already stays in its place. A handler that is new on a path
    /// that others watch gets the events that are under way to them, too.
    ///
    /// Errors: OsFileEx::ExNullFilePath; a null handler is an assertion.
    /// Cost:   some microseconds; never waits for a pass.
    void addWatch( const OsFilePath& path, Handler* handler );
    void addWatch( const OsFilePath& path, Handler* handler, Form form );
    /// The same for what differs from `seen`, the state that the client knows: nothing if it has
    /// seen that there is no file. What has happened since then isn't missed. On a path that others
    /// watch, the event of all may be of the very state that has been seen.
    ///
    ///     const OsFileInfo seen = OsFile( path ).getInfo();
    ///     load( path );
    ///     monitor->addWatch( path, &_changed, OsFileMonitor::EACH_STATE, seen );
    ///
    /// Errors: a state of another path is an assertion.
    void addWatch( const OsFilePath& path, Handler* handler, Form form,
                   const std::optional<OsFileInfo>& seen );
    /// Ends what `addWatch` began, in both forms. Returns when the handler can't run any more for
    /// this path: while it runs, that waits for its end; within a handler it returns at once.
    /// Without such a watch nothing happens.
    void removeWatch( const OsFilePath& path, Handler* handler );
    /// The same for all handlers and paths. Off the main thread no registered handler may be
    /// destroyed meanwhile.
    void removeAllWatches();
    /// For a client that has written the file itself: no event is delivered for a state that is no
    /// newer than the file is now, or than the present if there is none. An event of that very
    /// time, or a newer one, ends this. A file whose time lies in the future hides later writes
    /// from the handlers until then.
    ///
    /// Errors: those of the query; nothing changes then.
    void ignorePendingEvents( const OsFilePath& path );

    /// Returns once no file is looked at, and none will be until as many calls of `resume` have
    /// been made as of `pause`. Events that were found before still come.
    void pause();
    /// Does nothing unless paused.
    void resume();
    /// Has a pass begin without rest, and run without rests between files. If `waitForCompletion`,
    /// returns after the end of a pass that has begun after this call; but while the monitor is
    /// paused this doesn't wait. The events of that pass have been posted by then, not delivered.
    ///
    /// Errors: the assertion "!_isExternallyControlled".
    void iterateAsap( bool waitForCompletion );

    /// As they were given, in seconds.
    void getTimeIntervals( double& iterationInterval, double& fileInterval );
    /// The files that a pass looks at, in order; those that were added since the last pass aren't
    /// among them yet. Waits for a pass that is under way, but neither while it is paused nor while
    /// it rests between files.
    RCStrongPtr<Vector<OsFilePath>> getMonitoredFiles();
    /// Never waits for a pass.
    Snapshot getSnapshot() const;

private:
    friend class OsFileMonitorHarness;
    friend class OsFileMonitorImp;

    explicit OsFileMonitor( std::unique_ptr<OsFileMonitorImp> imp );

    static OsFileMonitor* make( double iterationInterval, double fileInterval,
                                bool isExternallyControlled );

    /// As `createInstance`, for a harness on the main thread: passes are made by `iterateOnce` and
    /// `iterateNow` alone. Both intervals are 0.
    static void createExternallyControlledInstance();
    /// Makes a pass, 3 seconds later, and returns at its end; while paused it doesn't wait.
    void iterateOnce();
    /// The same at once.
    void iterateNow();
    /// `getMonitoredFiles` with all that has been added and removed. Somebody else must have passes
    /// made meanwhile; while paused it doesn't wait for them.
    RCStrongPtr<Vector<OsFilePath>> getMonitoredFilesWaitForUpdate();
    /// From `iterateAsap` until the main thread has got the event of its pass.
    bool isInIterateAsapMode();

    const std::unique_ptr<OsFileMonitorImp> _imp;
};

/// The monitor's work at one moment.
struct QV_RESMGT_API OsFileMonitor::Snapshot {
    /// Files that a pass looks at.
    std::size_t nbFiles = 0;
    /// Since the instance was made: events posted, passes completed, queries and postings
    /// that failed.
    std::uint64_t nbEvents = 0;
    /// Passes over the watched files.
    std::uint64_t nbPasses = 0;
    /// Queries that failed.
    std::uint64_t nbFailures = 0;
    /// Of the last pass's queries the longest, or the one that is under way if that has taken
    /// longer; in seconds. Empty and 0 before the first.
    OsFilePath slowestPath;
    /// How long the slowest query took.
    double slowestSeconds = 0;
};

} // namespace Qv
