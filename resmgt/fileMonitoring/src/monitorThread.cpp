#include <resmgt/fileMonitoring/src/monitorThread.h>

#include <base/events/evEventManager.h>
#include <resmgt/fileMonitoring/src/loggedText.h>
#include <resmgt/fileMonitoring/src/threadWokeUpForIteratingAsapRequestEvent.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/sleeper.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

/// In seconds: what is shorter would keep a processor busy for nothing.
constexpr double LEAST_ITERATION_INTERVAL = 0.01;
/// In seconds: the longest that the end or a pause waits for a rest between files.
constexpr double SLEEP_SLICE = 0.05;

/// Logs the exception that is being handled.
void logFailure( const OsFilePath& path ) noexcept {
    try {
        throw;
    } catch( const std::exception& exception ) {
        QV_LOG( FileMonitoring, Warning, "Can't monitor ", LoggedPath{ path }, ": ",
                LoggedText{ exception.what() } );
    } catch( ... ) {
        QV_LOG( FileMonitoring, Warning, "Can't monitor ", LoggedPath{ path }, "." );
    }
}

} // namespace

void AddWatchRequest::execute( MonitorThread& thread ) const {
    thread.add( _path, _watch, _form, _baseline );
}

void RemoveWatchRequest::execute( MonitorThread& thread ) const {
    thread.remove( _path );
}

void RemoveAllWatchesRequest::execute( MonitorThread& thread ) const {
    thread.removeAll();
}

MonitorThread::MonitorThread( MonitorControl& control, std::uint64_t monitor,
                              double iterationInterval, double fileInterval )
    : _control( control )
    , _monitor( monitor )
    // No number at all counts as the least, too.
    , _iterationInterval( iterationInterval > LEAST_ITERATION_INTERVAL ? iterationInterval
                                                                       : LEAST_ITERATION_INTERVAL )
    , _fileInterval( fileInterval ) {}

MonitorThread::~MonitorThread() = default;

void MonitorThread::performExecute( MtThread* ) {
    _control.enter();
    while( _control.beginPass() ) {
        wakeUpMainThread();
        executeRequests();
        compareWithBaselines();
        passFiles();
        _control.endPass();
        _control.rest( _iterationInterval );
    }
}

void MonitorThread::performStop( MtThread* ) {
    _control.stop();
}

void MonitorThread::push( const RCShdPtr<const WatchRequest>& request ) {
    const Guard guard( _requestsLock );
    _requests.push_back( request );
}

bool MonitorThread::hasRequests() const {
    const Guard guard( _requestsLock );
    return !_requests.empty();
}

RCStrongPtr<Vector<OsFilePath>> MonitorThread::getFiles() const {
    RCStrongPtr<Vector<OsFilePath>> paths( new Vector<OsFilePath> );
    const Guard guard( _filesLock );
    paths->reserve( _files.size() );
    for( const File& file : _files ) {
        paths->push_back( file->getPath() );
    }
    return paths;
}

OsFileMonitor::Snapshot MonitorThread::getSnapshot() const {
    OsFileMonitor::Snapshot snapshot;
    snapshot.nbEvents = _nbEvents.load( std::memory_order_relaxed );
    snapshot.nbFailures = _nbFailures.load( std::memory_order_relaxed );
    snapshot.nbPasses = _control.getNbPasses();
    const Guard guard( _statisticsLock );
    snapshot.nbFiles = _nbFiles;
    const MonitoredFile* slowest = _slowestFile.get();
    snapshot.slowestSeconds = HwCounter::seconds( 0, _slowestTime );
    if( const MonitoredFile* const current = _current.load( std::memory_order_acquire ) ) {
        const double seconds = HwCounter::seconds( _currentSince.load( std::memory_order_relaxed ),
                                                   HwCounter::timeStamp() );
        if( seconds > snapshot.slowestSeconds ) {
            slowest = current;
            snapshot.slowestSeconds = seconds;
        }
    }
    if( slowest != nullptr ) {
        snapshot.slowestPath = slowest->getPath();
    }
    return snapshot;
}

void MonitorThread::add( const OsFilePath& path, std::uint64_t watch, OsFileMonitor::Form form,
                         const std::optional<AddWatchRequest::Baseline>& baseline ) {
    MonitoredFile& file = findOrAdd( path, watch );
    if( baseline && !file.isKnown() ) {
        file.setBaseline( baseline->seen );
    }
    if( form == OsFileMonitor::SETTLED_STATES ) {
        file.beginSettling();
    }
    if( !file.isKnown() ) {
        static_cast<void>( lookAtOne( file ) );
    } else if( baseline ) {
        _comparisons.push_back( { path, watch, form, *baseline } );
    }
}

void MonitorThread::remove( const OsFilePath& path ) {
    const Guard guard( _filesLock );
    const Guard statisticsGuard( _statisticsLock );
    if( const auto place = _files.find( path ); place != _files.end() ) {
        _order.clear();
        _files.erase( place );
        --_nbFiles;
    }
}

void MonitorThread::removeAll() {
    const Guard guard( _filesLock );
    const Guard statisticsGuard( _statisticsLock );
    _order.clear();
    _files.clear();
    _nbFiles = 0;
}

void MonitorThread::wakeUpMainThread() {
    if( !_control.takeWakeUp() ) {
        return;
    }
    try {
        OPtr<EvEvent> event( new ThreadWokeUpForIteratingAsapRequestEvent( _monitor ) );
        EvEventManager::getInstance().post( event );
    } catch( ... ) {
        // The next pass tries again; until then nobody misses it.
        _control.giveBackWakeUp();
    }
}

void MonitorThread::executeRequests() {
    while( mayGoOn() ) {
        RCShdPtr<const WatchRequest> request;
        {
            const Guard guard( _requestsLock );
            if( _requests.empty() ) {
                return;
            }
            request = _requests.front();
        }
        try {
            request->execute( *this );
        } catch( ... ) {
            if( !std::exchange( _isRequestFailing, true ) ) {
                logFailure( OsFilePath() );
            }
            return;
        }
        _isRequestFailing = false;
        const Guard guard( _requestsLock );
        _requests.pop_front();
    }
}

MonitoredFile& MonitorThread::findOrAdd( const OsFilePath& path, std::uint64_t watch ) {
    if( const auto place = _files.find( path ); place != _files.end() ) {
        return **place;
    }
    const File file( new MonitoredFile( path, watch ) );
    // So that nothing can fail when they are put in order.
    if( _order.capacity() <= _files.size() ) {
        _order.reserve( 2 * _files.size() + 1 );
    }
    const Guard guard( _filesLock );
    const Guard statisticsGuard( _statisticsLock );
    _order.clear();
    _files.insert( file );
    ++_nbFiles;
    return *file;
}

void MonitorThread::compareWithBaselines() {
    for( auto place = _comparisons.begin(); place != _comparisons.end() && mayGoOn(); ) {
        place = isCompared( *place ) ? _comparisons.erase( place ) : std::next( place );
    }
}

bool MonitorThread::isCompared( Comparison& comparison ) noexcept {
    try {
        const auto place = _files.find( comparison.path );
        if( place == _files.end() || ( *place )->getWatch() != comparison.watch ) {
            return true;
        }
        MonitoredFile& file = **place;
        const std::optional<OsFileInfo>& seen = comparison.baseline.seen;
        const MonitoredFile::Finding missed = file.compareWith( seen, comparison.form );
        if( missed.change == FileChange::NONE ) {
            return true;
        }
        if( comparison.form == OsFileMonitor::EACH_STATE && lookAtOne( file ).leadsTo( seen ) ) {
            // The client has looked later than the last pass did. This one reports to all
            // handlers what it has seen, unless the file goes back before: the next pass knows.
            return false;
        }
        postEvent( file, missed, comparison.baseline.registration );
        return true;
    } catch( ... ) {
        _nbFailures.fetch_add( 1, std::memory_order_relaxed );
        if( !std::exchange( comparison.isFailing, true ) ) {
            logFailure( comparison.path );
        }
        return false;
    }
}

MonitoredFile::Finding MonitorThread::lookAtOne( MonitoredFile& file ) {
    MonitoredFile::Finding finding;
    const Guard guard( _filesLock );
    _currentSince.store( HwCounter::timeStamp(), std::memory_order_relaxed );
    lookAt( file, finding );
    _current.store( nullptr, std::memory_order_relaxed );
    return finding;
}

bool MonitorThread::mayGoOn() {
    if( !_control.isCalled() ) {
        return true;
    }
    _probe.leaveDirectory();
    return _control.standStill();
}

void MonitorThread::passFiles() {
    putInOrder();
    _slowestSoFar = nullptr;
    _slowestTimeSoFar = 0;
    for( std::size_t next = 0; next < _order.size() && mayGoOn(); ) {
        MonitoredFile::Finding finding;
        MonitoredFile& file = lookAtFiles( next, finding );
        if( finding.change != FileChange::NONE ) {
            postAndKeep( file, finding );
        }
        if( isRestingBetweenFiles() ) {
            restBetweenFiles();
        }
    }
    _probe.leaveDirectory();
    publishSlowest();
}

void MonitorThread::putInOrder() noexcept {
    if( !_order.empty() ) {
        return;
    }
    for( const File& file : _files ) {
        _order.push_back( file.get() );
    }
}

MonitoredFile& MonitorThread::lookAtFiles( std::size_t& next, MonitoredFile::Finding& finding ) {
    // So far ahead the processor has fetched a file before its turn, in spite of the queries of
    // those before it, which leave little of what it had.
    constexpr std::size_t FILES_AHEAD = 4;
    constexpr std::size_t NAMES_AHEAD = 2;
    const Guard guard( _filesLock );
    MonitoredFile* file = nullptr;
    _currentSince.store( HwCounter::timeStamp(), std::memory_order_relaxed );
    do {
        if( next + FILES_AHEAD < _order.size() ) {
            _order[next + FILES_AHEAD]->prefetch();
            _order[next + NAMES_AHEAD]->prefetchName();
        }
        file = _order[next++];
        lookAt( *file, finding );
    } while( finding.change == FileChange::NONE && next < _order.size() && !_control.isCalled() &&
             !isRestingBetweenFiles() );
    _current.store( nullptr, std::memory_order_relaxed );
    return *file;
}

void MonitorThread::lookAt( MonitoredFile& file, MonitoredFile::Finding& finding ) noexcept {
    _current.store( &file, std::memory_order_release );
    try {
        if( !file.isQuiet( _probe ) ) {
            finding = file.look();
        }
        if( finding.change == FileChange::NONE && file.isFailing() ) {
            file.setFailing( false );
        }
    } catch( ... ) {
        finding = {};
        reportFailure( file );
    }
    noteDuration( file );
}

void MonitorThread::postAndKeep( MonitoredFile& file, MonitoredFile::Finding& finding ) noexcept {
    try {
        postEvent( file, finding, 0 );
        file.keep( finding );
        file.setFailing( false );
    } catch( ... ) {
        reportFailure( file );
    }
}

void MonitorThread::postEvent( const MonitoredFile& file, const MonitoredFile::Finding& finding,
                               std::uint64_t registration ) {
    OPtr<EvEvent> event( new FileEventRequest( { finding.change, file.getPath(), finding.time,
                                                 finding.form, file.getWatch(), registration } ) );
    EvEventManager::getInstance().post( event );
    _nbEvents.fetch_add( 1, std::memory_order_relaxed );
}

void MonitorThread::restBetweenFiles() {
    // Nothing keeps a volume busy during a rest.
    _probe.leaveDirectory();
    const double end = HwCounter::seconds() + _fileInterval;
    double rest = _fileInterval;
    while( rest > 0 && !_control.isCalled() && !_control.isAsap() ) {
        Sleeper::getHighResInstance().sleep( std::min( rest, SLEEP_SLICE ) );
        rest = end - HwCounter::seconds();
    }
}

void MonitorThread::noteDuration( MonitoredFile& file ) {
    const std::uint64_t now = HwCounter::timeStamp();
    const std::uint64_t time = now - _currentSince.load( std::memory_order_relaxed );
    if( time > _slowestTimeSoFar ) {
        _slowestTimeSoFar = time;
        _slowestSoFar = &file;
    }
    _currentSince.store( now, std::memory_order_relaxed );
}

void MonitorThread::publishSlowest() {
    const Guard guard( _statisticsLock );
    _slowestFile = File( _slowestSoFar );
    _slowestTime = _slowestTimeSoFar;
}

void MonitorThread::reportFailure( MonitoredFile& file ) noexcept {
    _nbFailures.fetch_add( 1, std::memory_order_relaxed );
    if( !file.isFailing() ) {
        file.setFailing( true );
        logFailure( file.getPath() );
    }
}

} // namespace Qv
