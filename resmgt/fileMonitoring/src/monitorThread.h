#pragma once

#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/fileMonitoring/src/fileEventRequest.h>
#include <resmgt/fileMonitoring/src/monitorControl.h>
#include <resmgt/fileMonitoring/src/monitoredFile.h>
#include <resmgt/fileMonitoring/src/watchRequest.h>
#include <resmgt/osal/osFileProbe.h>
#include <resmgt/threads/mtThreadProtocol.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <list>
#include <set>
#include <vector>

namespace Qv {

/// The body of the thread "File Monitor", and the files that it looks at.
///
/// The thread alone changes the table of files, so it reads it without a lock. It holds "Monitored
/// Files" while it asks about files and changes the table, for those who want to read that; it
/// holds it neither paused, asleep nor posting. "OsFileMonitor Statistics" is held for some steps.
/// Nothing that it meets ends the thread: what fails is logged, and tried again by the next pass.
class MonitorThread final : public MtThreadProtocol {
public:
    /// `monitor` numbers the monitor; both intervals are in seconds.
    MonitorThread( MonitorControl& control, std::uint64_t monitor, double iterationInterval,
                   double fileInterval );
    ~MonitorThread() override;

    void performExecute( MtThread* thread ) override;
    void performStop( MtThread* thread ) override;

    /// From any thread: executed in order, before the next pass.
    void push( const RCShdPtr<const WatchRequest>& request );
    bool hasRequests() const;
    /// Waits for queries.
    RCStrongPtr<Vector<OsFilePath>> getFiles() const;
    OsFileMonitor::Snapshot getSnapshot() const;

    // What requests do.
    void add( const OsFilePath& path, std::uint64_t watch, OsFileMonitor::Form form,
              const std::optional<AddWatchRequest::Baseline>& baseline );
    void remove( const OsFilePath& path );
    void removeAll();

private:
    using File = RCShdPtr<MonitoredFile>;

    /// By path, which needn't be kept twice.
    struct ByPath {
        using is_transparent = void;

        bool operator()( const File& left, const File& right ) const {
            return left->getPath() < right->getPath();
        }
        bool operator()( const File& left, const OsFilePath& right ) const {
            return left->getPath() < right;
        }
        bool operator()( const OsFilePath& left, const File& right ) const {
            return left < right->getPath();
        }
    };
    using Files = std::set<File, ByPath>;

    /// The baseline of a client, for a file of which a state was known before.
    struct Comparison {
        OsFilePath path;
        std::uint64_t watch;
        OsFileMonitor::Form form;
        AddWatchRequest::Baseline baseline;
        /// Whether that has been logged.
        bool isFailing = false;
    };

    void wakeUpMainThread();
    void executeRequests();
    void compareWithBaselines();
    /// Whether that is done, the event being posted if one is due; else the next pass tries again.
    bool isCompared( Comparison& comparison ) noexcept;
    /// A look that isn't the pass's own: whatever it finds is found again.
    MonitoredFile::Finding lookAtOne( MonitoredFile& file );
    /// Stands still while the monitor is paused. False at its end.
    bool mayGoOn();
    MonitoredFile& findOrAdd( const OsFilePath& path, std::uint64_t watch );
    void passFiles();
    void putInOrder() noexcept;
    /// Looks at files until there is something to do without the lock: a finding to be posted, a
    /// call, or a rest. `next` is moved behind the last one, which is returned.
    MonitoredFile& lookAtFiles( std::size_t& next, MonitoredFile::Finding& finding );
    void lookAt( MonitoredFile& file, MonitoredFile::Finding& finding ) noexcept;
    void postAndKeep( MonitoredFile& file, MonitoredFile::Finding& finding ) noexcept;
    void postEvent( const MonitoredFile& file, const MonitoredFile::Finding& finding,
                    std::uint64_t registration );
    bool isRestingBetweenFiles() const { return _fileInterval > 0 && !_control.isAsap(); }
    void restBetweenFiles();
    void noteDuration( MonitoredFile& file );
    void publishSlowest();
    /// REQUIRES: within a catch.
    void reportFailure( MonitoredFile& file ) noexcept;

    MonitorControl& _control;
    const std::uint64_t _monitor;
    const double _iterationInterval;
    const double _fileInterval;

    const LkLock _requestsLock{ "Watch Requests" };
    std::deque<RCShdPtr<const WatchRequest>> _requests QV_GUARDED_BY( _requestsLock );
    bool _isRequestFailing = false;
    std::list<Comparison> _comparisons;

    const LkLock _filesLock{ "Monitored Files" };
    /// Changed with both locks held, by the thread alone.
    Files _files;
    /// The same as a list, for passes; empty when the table has changed. It always has room for
    /// all.
    std::vector<MonitoredFile*> _order;
    OsFileProbe _probe;

    const LkLock _statisticsLock{ "OsFileMonitor Statistics" };
    std::size_t _nbFiles QV_GUARDED_BY( _statisticsLock ) = 0;
    /// Of the last pass's queries, in ticks.
    File _slowestFile QV_GUARDED_BY( _statisticsLock );
    std::uint64_t _slowestTime QV_GUARDED_BY( _statisticsLock ) = 0;
    /// The same of the pass that is under way.
    MonitoredFile* _slowestSoFar = nullptr;
    std::uint64_t _slowestTimeSoFar = 0;
    /// The file that is being asked about, and since when in ticks. Written by the thread; who
    /// reads it holds the lock, without which no file goes.
    std::atomic<const MonitoredFile*> _current = nullptr;
    std::atomic<std::uint64_t> _currentSince = 0;
    std::atomic<std::uint64_t> _nbEvents = 0;
    std::atomic<std::uint64_t> _nbFailures = 0;
};

} // namespace Qv
