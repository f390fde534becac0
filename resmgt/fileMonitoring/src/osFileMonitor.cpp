#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <base/failure/assertions.h>
#include <base/init/inSingletonEx.h>
#include <base/locks/lkLock.h>
#include <pluginAPI/piAppThread.h>
#include <resmgt/fileMonitoring/src/fileMonitorIntervals.h>
#include <resmgt/fileMonitoring/src/osFileMonitorImp.h>
#include <resmgt/profiling/sleeper.h>

#include <atomic>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

constexpr const char* NAME = "OsFileMonitor";

enum class Phase { NOT_INITIALIZED, INITIALIZED, DESTROYED };

constinit const LkLock instanceLock( "OsFileMonitor instance" );
Phase phase QV_GUARDED_BY( instanceLock ) = Phase::NOT_INITIALIZED;
// Written under the lock. Release and acquire: who sees the instance sees it complete.
constinit std::atomic<OsFileMonitor*> instance = nullptr;

void checkPhase() QV_REQUIRES( instanceLock ) {
    if( phase == Phase::NOT_INITIALIZED ) {
        throw InSingletonEx::ExNotInitialized( QV_HERE, NAME );
    }
    if( phase == Phase::DESTROYED ) {
        throw InSingletonEx::ExAlreadyDestroyed( QV_HERE, NAME );
    }
}

} // namespace

void OsFileMonitor::initialize() {
    const Guard guard( instanceLock );
    if( phase == Phase::INITIALIZED ) {
        throw InSingletonEx::ExAlreadyInitialized( QV_HERE, NAME );
    }
    phase = Phase::INITIALIZED;
}

void OsFileMonitor::finalize() {
    std::unique_ptr<OsFileMonitor> last;
    const Guard guard( instanceLock );
    phase = Phase::DESTROYED;
    last.reset( instance.exchange( nullptr, std::memory_order_acq_rel ) );
}

OsFileMonitor* OsFileMonitor::getInstance() {
    if( OsFileMonitor* const monitor = instance.load( std::memory_order_acquire ) ) {
        return monitor;
    }
    return make( getDefaultIntervalBetweenIterations(), getDefaultIntervalBetweenFiles(), false );
}

void OsFileMonitor::createInstance( double iterationInterval, double fileInterval ) {
    make( iterationInterval, fileInterval, false );
}

void OsFileMonitor::createExternallyControlledInstance() {
    QV_ASSERT( PiAppThread::isCurrent() );
    make( 0, 0, true );
}

OsFileMonitor* OsFileMonitor::make( double iterationInterval, double fileInterval,
                                    bool isExternallyControlled ) {
    const Guard guard( instanceLock );
    checkPhase();
    OsFileMonitor* monitor = instance.load( std::memory_order_relaxed );
    if( monitor == nullptr ) {
        monitor = new OsFileMonitor( std::make_unique<OsFileMonitorImp>(
            iterationInterval, fileInterval, isExternallyControlled ) );
        instance.store( monitor, std::memory_order_release );
    }
    return monitor;
}

OsFileMonitorImp* OsFileMonitorImp::find() noexcept {
    OsFileMonitor* const monitor = instance.load( std::memory_order_acquire );
    return monitor != nullptr ? monitor->_imp.get() : nullptr;
}

double OsFileMonitor::getDefaultIntervalBetweenFiles() {
    return FileMonitorIntervals::getFileInterval();
}

double OsFileMonitor::getDefaultIntervalBetweenIterations() {
    return FileMonitorIntervals::getIterationInterval();
}

OsFileMonitor::OsFileMonitor( std::unique_ptr<OsFileMonitorImp> imp )
    : _imp( std::move( imp ) ) {}

OsFileMonitor::~OsFileMonitor() = default;

void OsFileMonitor::addWatch( const OsFilePath& path, Handler* handler ) {
    _imp->addWatch( path, handler, EACH_STATE, nullptr );
}

void OsFileMonitor::addWatch( const OsFilePath& path, Handler* handler, Form form ) {
    _imp->addWatch( path, handler, form, nullptr );
}

void OsFileMonitor::addWatch( const OsFilePath& path, Handler* handler, Form form,
                              const std::optional<OsFileInfo>& seen ) {
    _imp->addWatch( path, handler, form, &seen );
}

void OsFileMonitor::removeWatch( const OsFilePath& path, Handler* handler ) {
    _imp->removeWatch( path, handler );
}

void OsFileMonitor::removeAllWatches() {
    _imp->removeAllWatches();
}

void OsFileMonitor::ignorePendingEvents( const OsFilePath& path ) {
    _imp->ignorePendingEvents( path );
}

void OsFileMonitor::pause() {
    _imp->getControl().pause();
}

void OsFileMonitor::resume() {
    _imp->getControl().resume();
}

void OsFileMonitor::iterateAsap( bool waitForCompletion ) {
    _imp->iterateAsap( waitForCompletion );
}

void OsFileMonitor::getTimeIntervals( double& iterationInterval, double& fileInterval ) {
    iterationInterval = _imp->getIterationInterval();
    fileInterval = _imp->getFileInterval();
}

RCStrongPtr<Vector<OsFilePath>> OsFileMonitor::getMonitoredFiles() {
    return _imp->getMonitorThread().getFiles();
}

OsFileMonitor::Snapshot OsFileMonitor::getSnapshot() const {
    return _imp->getMonitorThread().getSnapshot();
}

void OsFileMonitor::iterateOnce() {
    constexpr double SECONDS_BEFORE = 3.0;
    Sleeper::getHighResInstance().sleep( SECONDS_BEFORE );
    iterateNow();
}

void OsFileMonitor::iterateNow() {
    _imp->iterate();
}

RCStrongPtr<Vector<OsFilePath>> OsFileMonitor::getMonitoredFilesWaitForUpdate() {
    constexpr double SECONDS_BETWEEN_LOOKS = 1.0;
    while( _imp->getMonitorThread().hasRequests() && !_imp->getControl().isPaused() ) {
        Sleeper::getHighResInstance().sleep( SECONDS_BETWEEN_LOOKS );
    }
    return getMonitoredFiles();
}

bool OsFileMonitor::isInIterateAsapMode() {
    return _imp->getControl().isIterateAsapPending();
}

} // namespace Qv
