#pragma once

#include <base/callbacks/cbDispatcher.h>
#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/fileMonitoring/src/fileEventRequest.h>
#include <resmgt/fileMonitoring/src/monitorControl.h>
#include <resmgt/fileMonitoring/src/monitorThread.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/osSupport/osDateTypes.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Qv {

class MtThread;

/// The clients' side of the monitor: who watches what, and whose events are ignored.
///
/// Lock:     "FileMonitorImp Functions" guards the tables; "Watch Requests" is taken within it.
///           Nobody waits while holding it, for a file least of all.
/// Handlers: are called through a dispatcher each, which their destruction leaves. A dispatcher is
///           only touched under the lock, or by the main thread while the handler counts as
///           running, when no other thread unlinks it. So handlers die without any lock, on the
///           main thread.
class OsFileMonitorImp {
public:
    using Handler = OsFileMonitor::Handler;
    using Form = OsFileMonitor::Form;
    using Seen = std::optional<OsFileInfo>;

    OsFileMonitorImp( double iterationInterval, double fileInterval, bool isExternallyControlled );
    OsFileMonitorImp( const OsFileMonitorImp& ) = delete;
    OsFileMonitorImp& operator=( const OsFileMonitorImp& ) = delete;
    /// Waits for the thread's end.
    ~OsFileMonitorImp();

    /// That of the present monitor; null without one. For the main thread, which ends it.
    static OsFileMonitorImp* find() noexcept;

    /// `seen` is null for the baseline of the next pass.
    void addWatch( const OsFilePath& path, Handler* handler, Form form, const Seen* seen );
    void removeWatch( const OsFilePath& path, Handler* handler );
    void removeAllWatches();
    void ignorePendingEvents( const OsFilePath& path );
    void iterateAsap( bool waitForCompletion );
    /// A pass of an externally controlled monitor.
    void iterate();

    /// For the events, on the main thread.
    void deliver( const FileEventRequest& request );
    void acceptWakeUp() { _control.acceptWakeUp(); }

    MonitorControl& getControl() noexcept { return _control; }
    MonitorThread& getMonitorThread() noexcept { return *_protocol; }
    /// No other monitor of this process has it.
    std::uint64_t getNumber() const noexcept { return _number; }
    double getIterationInterval() const noexcept { return _iterationInterval; }
    double getFileInterval() const noexcept { return _fileInterval; }

private:
    /// A handler, for all that it watches.
    struct Receiver : RCBase<LkCounter<int>> {
        /// Empty once the handler is destroyed.
        CbDispatcher<const OsFileEvent> dispatcher;
        Handler* handler = nullptr;
        std::size_t nbRegistrations = 0;
        std::size_t nbRunning = 0;
    };
    /// A handler's part in one watch.
    struct Registration : RCBase<LkCounter<int>> {
        std::uint64_t number = 0;
        Form form = OsFileMonitor::EACH_STATE;
        RCShdPtr<Receiver> receiver;
        std::size_t nbRunning = 0;
        bool isRemoved = false;
    };
    using Registrations = std::vector<RCShdPtr<Registration>>;
    struct Watch {
        std::uint64_t number = 0;
        Registrations registrations;
    };
    using Watches = std::map<OsFilePath, Watch>;
    using Times = std::map<OsFilePath, OsDateTypes::DateRep>;
    class Run;

    RCShdPtr<Receiver> receiverOf( Handler& handler ) QV_REQUIRES( _lock );
    static bool isOf( const Registration& registration, const Handler& handler );
    static bool contains( const Watch& watch, const Handler& handler, Form form );
    void requestWatch( const Watches::value_type& watch, const Registration& registration,
                       const Seen* seen ) QV_REQUIRES( _lock );
    /// A watch that has no others ends.
    void removeRegistrations( Watches::iterator place,
                              const std::function<bool( const Registration& )>& isRemoved )
        QV_REQUIRES( _lock );
    /// Ends those that have left their watches. Returns when none of them runs, at once on the main
    /// thread; the lock is given up meanwhile.
    void end( const Registrations& removed ) QV_REQUIRES( _lock );
    void release( Registration& registration ) QV_REQUIRES( _lock );
    void unlinkIfUnused( Receiver& receiver ) QV_REQUIRES( _lock );

    Watches::iterator findWatch( const FileEventRequest::Content& content ) QV_REQUIRES( _lock );
    bool isIgnored( const FileEventRequest::Content& content ) QV_REQUIRES( _lock );
    Registrations findReceivers( const FileEventRequest::Content& content );
    /// Ends those whose handlers have been destroyed.
    void removeDead( const FileEventRequest::Content& content );

    const bool _isExternallyControlled;
    const double _iterationInterval;
    const double _fileInterval;
    const std::uint64_t _number;
    MonitorControl _control;

    const LkLock _lock{ "FileMonitorImp Functions" };
    const LkCondVar _handlerDone{ "OsFileMonitor Handler Done Control" };
    Watches _watches QV_GUARDED_BY( _lock );
    std::unordered_map<Handler*, RCShdPtr<Receiver>> _receivers QV_GUARDED_BY( _lock );
    /// Up to when events are ignored, in each form.
    std::array<Times, 2> _ignored QV_GUARDED_BY( _lock );

    /// The thread's own.
    MonitorThread* _protocol = nullptr;
    OPtr<MtThread> _thread;
};

} // namespace Qv
