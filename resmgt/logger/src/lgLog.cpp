#include <resmgt/logger/lgLog.h>

#include <base/failure/assertions.h>
#include <base/failure/exBase.h>
#include <base/text/printable.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/logger/src/lgFork.h>
#include <resmgt/logger/src/lgLogStart.h>
#include <resmgt/logger/src/lgOutput.h>
#include <resmgt/logger/src/lgPrefix.h>
#include <resmgt/logger/src/lgStandardStreams.h>
#include <resmgt/profiling/hwCounter.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <iomanip>
#include <limits>
#include <mutex>
#include <ostream>
#include <sstream>
#include <thread>

namespace Qv {

namespace {

using SteadyClock = std::chrono::steady_clock;

// How long a line waits for one that another thread writes, before it is given up: an output may
// have stalled for good.
constexpr std::chrono::seconds MAX_OUTPUT_WAIT( 5 );
constexpr std::chrono::milliseconds OUTPUT_WAIT_STEP( 1 );
constexpr double MAINTENANCE_SECONDS = 1.0;
// What the clocks of all systems can add.
constexpr double MAX_FLUSH_SECONDS = 1.0e6;

// All of it must be usable before and after everything else in the process.
constinit std::mutex outputLock;
constinit thread_local bool isInOutput = false;
// Whether somebody has waited for the present owner in vain; written by those who wait, and by the
// owner, which takes it back. Relaxed: it orders nothing.
constinit std::atomic<bool> isOutputStalled = false;
// Stored by the thread that starts the logger.
constinit std::atomic<LgOutput*> output = nullptr;
// Relaxed, as are the counters: they order nothing.
constinit std::atomic<double> maintenanceTime = 0.0;
constinit std::atomic<std::uint64_t> nbWritten = 0;
constinit std::atomic<std::uint64_t> nbLost = 0;
constinit std::atomic<std::uint64_t> nbFailed = 0;
constinit std::atomic<std::uint64_t> highWater = 0;

void count( std::atomic<std::uint64_t>& counter, std::uint64_t number = 1 ) noexcept {
    counter.fetch_add( number, std::memory_order_relaxed );
}

/// The right to write a line. A thread that has it already, such as one whose output logs, gets no
/// second one.
class OutputScope {
public:
    OutputScope()
        : _isNested( isInOutput ) {
        if( !_isNested ) {
            isInOutput = true;
            _isOwner = lock();
        }
    }
    OutputScope( const OutputScope& ) = delete;
    OutputScope& operator=( const OutputScope& ) = delete;
    ~OutputScope() {
        if( _isOwner ) {
            isOutputStalled.store( false, std::memory_order_relaxed );
            outputLock.unlock();
        }
        if( !_isNested ) {
            isInOutput = false;
        }
    }

    bool isOwner() const noexcept { return _isOwner; }

private:
    /// One wait is enough for each owner that stalls.
    static bool lock() {
        const auto deadline = SteadyClock::now() + MAX_OUTPUT_WAIT;
        while( !outputLock.try_lock() ) {
            if( isOutputStalled.load( std::memory_order_relaxed ) ) {
                return false;
            }
            if( SteadyClock::now() >= deadline ) {
                isOutputStalled.store( true, std::memory_order_relaxed );
                return false;
            }
            std::this_thread::sleep_for( OUTPUT_WAIT_STEP );
        }
        return true;
    }

    const bool _isNested;
    bool _isOwner = false;
};

/// Those who wait in `flush`.
struct Flushing {
    std::mutex lock;
    std::condition_variable isHandled;
};

Flushing& getFlushing() {
    static Flushing& flushing = *new Flushing;
    return flushing;
}

// Stored by the reader; in one order with LgLog::_flushWanted: either the reader sees the waiter,
// or the waiter sees the stamp.
constinit std::atomic<std::uint64_t> handledStamp = 0;

/// A report of the logger itself, to the targets of its level. REQUIRES: the output's scope.
void writeReport( LgOutput& to, const std::string& text ) {
    if( LgGroups::MinorLevelLogger.isLevelEnabled( LgTypes::Support ) ) {
        std::ostringstream prefix;
        LgLog::printPrefix( prefix, 0, LgTypes::Support, "main", 0 );
        const LgMinorGroup* const group = LgGroups::MinorLevelLogger;
        const std::string name =
            group != nullptr ? group->getFormattedName( LgMinorGroup::NAME_WIDTH ) : "Logger";
        to.write( { .level = LgTypes::Support, .threadName = "main" }, prefix.str().c_str(),
                  ( "[" + name + "] " + text + "\n" ).c_str() );
        count( nbWritten );
    }
}

std::uint64_t getPrintStamp( const LgLog::EntryInfo& info ) {
    return info.printStamp != 0 ? info.printStamp : HwCounter::timeStamp();
}

/// On the scale of HwCounter::seconds().
double toSeconds( std::uint64_t stamp ) {
    return HwCounter::seconds( 0, stamp );
}

bool isMaintenanceDue( double now ) noexcept {
    return now >= maintenanceTime.load( std::memory_order_relaxed );
}

void maintainWithin( LgOutput& to, double now ) {
    maintenanceTime.store( now + MAINTENANCE_SECONDS, std::memory_order_relaxed );
    const std::string report = to.maintain();
    if( !report.empty() ) {
        writeReport( to, report );
    }
}

/// What a child of a fork writes: to standard error, if its parent's line went anywhere.
void outputInChild( const LgLog::EntryInfo& info, const char* prefix, const char* message ) {
    const LgOutput* const to = output.load( std::memory_order_acquire );
    if( to == nullptr || to->hasTarget( info.level ) ) {
        // It may be a terminal, as where a level is echoed.
        writeStandardError( Printable::makeText( std::string( prefix ) + message ) );
    }
}

void outputLine( const LgLog::EntryInfo& info, const char* prefix, const char* message ) {
    if( LgFork::isChild() ) {
        outputInChild( info, prefix, message );
        return;
    }
    const OutputScope scope;
    LgOutput* const to = output.load( std::memory_order_acquire );
    if( !scope.isOwner() || to == nullptr ) {
        count( nbLost );
        return;
    }
    info.lostStatements > 0 ? count( nbLost, info.lostStatements ) : count( nbWritten );
    to->write( info, prefix, message );
    const double now = toSeconds( getPrintStamp( info ) );
    if( isMaintenanceDue( now ) ) {
        maintainWithin( *to, now );
    }
}

/// A line of the calling thread's own, to its level's targets or to standard output.
void writeDirectly( LgTypes::Level level, const char* text, bool hasTargets ) noexcept {
    if( !LgLog::isInactiveOutputAllowed( level ) ) {
        return;
    }
    if( isInOutput ) {
        count( nbLost );
        return;
    }
    try {
        std::ostringstream prefix;
        LgLog::printPrefix( prefix, 0, level, "main", 0 );
        const std::string message = std::string( text ) + "\n";
        if( hasTargets || LgFork::isChild() ) {
            LgLog::outputEntry( { .level = level, .threadName = "main" }, prefix.str().c_str(),
                                message.c_str() );
        } else if( !writeStandardOutput( ( prefix.str() + message ).c_str() ) ) {
            count( nbFailed );
        }
    } catch( const std::exception& ) {
        count( nbFailed );
    }
}

void dumpOption( std::ostream& stream, const char* name, bool isOn ) {
    stream << ( isOn ? "   " : "   No " ) << name << '\n';
}

void dumpLevel( std::ostream& stream, const LgLog::LevelInfo& info ) {
    if( !info.enabled ) {
        stream << "Disabled";
        return;
    }
    stream << ( info.echoed ? "stdout, " : "" ) << ( info.osLogged ? "os logging, " : "" );
    if( !info.file.empty() ) {
        stream << Printable::makeLine( WideStringUtil::narrowMB( info.file ) ) << ' ';
    }
    stream << ( info.appended ? "[Append]" : "" );
}

} // namespace

constinit std::array<std::atomic<bool>, LgLog::NB_OPTIONS> LgLog::_options = {
    true, false, false, false, true, false };
constinit std::atomic<bool> LgLog::_initialized = false;
constinit std::atomic<bool> LgLog::_loggerActive = false;
constinit std::atomic<LgLog::QueueFunction> LgLog::_queueFunction = LgLog::getDefaultQueue;
constinit std::atomic<LgRegistry*> LgLog::_registry = nullptr;
constinit std::atomic<std::uint64_t> LgLog::_flushWanted = 0;
constinit std::uint64_t LgLog::_start = 0;
constinit LgLog::InitDefaultsType LgLog::_initDefaults = LgLog::ECHO_BY_DEFAULT;

void LgLog::init() {
    QV_ASSERT( !_initialized );
    LgLogStart start;
    start.prepare();
    const OutputScope scope;
    LgOutput* const former = output.exchange( start.commit().release(), std::memory_order_acq_rel );
    // Otherwise a thread that logged after the former stop is still writing.
    if( scope.isOwner() ) {
        delete former;
    }
    // So that a control file counts from the first line on.
    maintenanceTime.store( 0.0, std::memory_order_relaxed );
}

void LgLog::destroy() {
    QV_ASSERT( _initialized );
    LgLogStart::uninstall();
    // The files are the parent's, which writes on.
    if( !LgFork::isChild() ) {
        const OutputScope scope;
        if( scope.isOwner() ) {
            output.load( std::memory_order_relaxed )->stop();
        }
    }
    _initialized.store( false, std::memory_order_release );
}

LgQueue* LgLog::getDefaultQueue() {
    static LgQueue* const queue = [] {
        auto* const made = new LgQueue;
        if( LgRegistry* const registry = getRegistry() ) {
            registry->registerQueue( made );
        }
        return made;
    }();
    return queue;
}

void LgLog::setQueueFunction( QueueFunction function ) noexcept {
    _queueFunction.store( function != nullptr ? function : getDefaultQueue,
                          std::memory_order_release );
}

OPtrRet<LgRegistry> LgLog::setRegistry( OPtr<LgRegistry> registry ) {
    LgRegistry* const former = getRegistry();
    if( former != nullptr && !registry.isNull() ) {
        const List<LgQueue*> queues = former->getQueueList();
        for( LgQueue* const queue : queues ) {
            registry->registerQueue( queue );
        }
        // Only now, so that without memory all stays as it is.
        for( LgQueue* const queue : queues ) {
            former->deregisterQueue( queue );
        }
    }
    _registry.store( registry.release(), std::memory_order_release );
    return OPtr<LgRegistry>( former );
}

void LgLog::outputEntry( LgTypes::Level level, const char* prefix, const char* message ) {
    outputEntry( EntryInfo{ .level = level }, prefix, message );
}

void LgLog::outputEntry( const EntryInfo& info, const char* prefix, const char* message ) {
    try {
        outputLine( info, prefix, message );
    } catch( const std::exception& ) {
        count( nbFailed );
    }
}

void LgLog::outputDirectly( LgTypes::Level level, const char* text ) noexcept {
    writeDirectly( level, text, isInitialized() );
}

void LgLog::printDirectly( LgTypes::Level level, const char* text ) noexcept {
    writeDirectly( level, text, false );
}

void LgLog::printPrefix( std::ostream& stream, unsigned long long timeStamp, LgTypes::Level level,
                         const char* threadName, unsigned long threadId ) {
    std::string text;
    appendPrefix( text, { level, timeStamp, threadName, threadId } );
    // Whatever width, fill and flags the stream has.
    stream.write( text.data(), static_cast<std::streamsize>( text.size() ) );
}

void LgLog::appendPrefix( std::string& text, const EntryInfo& info ) {
    const std::uint64_t now = getPrintStamp( info );
    if( isOption( TIME_STAMPS ) ) {
        const std::uint64_t stamp = info.timeStamp != 0 ? info.timeStamp : now;
        const bool isSinceStart = isInitialized() && stamp > _start;
        LgPrefix::appendTimeStamp( text, isSinceStart ? stamp - _start : 0 );
    }
    if( isOption( TIME ) ) {
        LgPrefix::appendTime( text, isInitialized() ? HwCounter::seconds( _start, now ) : 0.0 );
    }
    if( isOption( LOG_LEVELS ) ) {
        text += '[';
        LgPrefix::appendPadded( text, LgTypes::getLevelName( info.level ), 14 );
        text += "] ";
    }
    if( info.threadName != nullptr && isOption( THREAD_NAMES ) ) {
        LgPrefix::appendPadded( text, info.threadName, 10 );
        text += ' ';
    }
    if( info.threadName != nullptr && isOption( THREAD_IDS ) ) {
        LgPrefix::appendThreadId( text, info.threadId );
    }
}

void LgLog::dump( std::ostream& stream ) {
    std::ostringstream text;
    text << "Output:\n";
    for( int number = 0; number < LgTypes::NUM_LEVELS; ++number ) {
        const auto level = static_cast<LgTypes::Level>( number );
        text << std::setw( 20 ) << LgTypes::getLevelName( level ) << ": ";
        dumpLevel( text, getInfo( level ) );
        text << '\n';
    }
    text << "Options:\n";
    dumpOption( text, "Time", isOption( TIME ) );
    dumpOption( text, "Time stamps", isOption( TIME_STAMPS ) );
    dumpOption( text, "Thread ids", isOption( THREAD_IDS ) );
    dumpOption( text, "Thread names", isOption( THREAD_NAMES ) );
    dumpOption( text, "Log levels", isOption( LOG_LEVELS ) );
    dumpOption( text, "Blocking trace", isOption( BLOCKING_TRACE ) );
    stream << text.str();
}

void LgLog::maintain() noexcept {
    try {
        const double now = HwCounter::seconds();
        if( !isMaintenanceDue( now ) || !isInitialized() || LgFork::isChild() ) {
            return;
        }
        const OutputScope scope;
        LgOutput* const to = output.load( std::memory_order_acquire );
        if( scope.isOwner() && to != nullptr ) {
            maintainWithin( *to, now );
        }
    } catch( const std::exception& ) {
        // Without memory just now; the next second will do.
    }
}

std::uint64_t LgLog::beginLook() noexcept {
    const std::uint64_t stamp = HwCounter::timeStamp();
    // Either this comes after a flush's own, and sees what that one saw, or that one's stamp is
    // later.
    _flushWanted.fetch_add( 0, std::memory_order_acq_rel );
    return stamp;
}

void LgLog::noteHandled( std::uint64_t timeStamp ) noexcept {
    handledStamp.store( timeStamp, std::memory_order_seq_cst );
    // Not with each line, lest those who wait don't get the lock.
    const std::uint64_t wanted = _flushWanted.load( std::memory_order_seq_cst );
    if( wanted != 0 && timeStamp > wanted ) {
        endFlushes( timeStamp );
    }
}

void LgLog::endFlushes( std::uint64_t timeStamp ) noexcept {
    Flushing& flushing = getFlushing();
    // A waiter between its look and its sleep has the lock.
    const std::lock_guard guard( flushing.lock );
    if( _flushWanted.load( std::memory_order_relaxed ) < timeStamp ) {
        _flushWanted.store( 0, std::memory_order_relaxed );
    }
    flushing.isHandled.notify_all();
}

void LgLog::noteQueueLevel( std::size_t nbEntries ) noexcept {
    // One writer, the reader.
    if( nbEntries > highWater.load( std::memory_order_relaxed ) ) {
        highWater.store( nbEntries, std::memory_order_relaxed );
    }
}

bool LgLog::flush( double seconds ) {
    if( isInOutput ) {
        return false;
    }
    if( !isLoggerActive() ) {
        return true;
    }
    // 0 also for what is no number.
    const double limit = std::min( std::max( 0.0, seconds ), MAX_FLUSH_SECONDS );
    Flushing& flushing = getFlushing();
    std::unique_lock guard( flushing.lock );
    // See beginLook.
    _flushWanted.fetch_add( 0, std::memory_order_acq_rel );
    const std::uint64_t wanted = HwCounter::timeStamp();
    const auto isHandled = [&] { return handledStamp.load( std::memory_order_seq_cst ) > wanted; };
    _flushWanted.store( wanted, std::memory_order_seq_cst );
    flushing.isHandled.wait_for( guard, std::chrono::duration<double>( limit ),
                                 [&] { return isHandled() || !isLoggerActive(); } );
    return isHandled();
}

LgLog::Counters LgLog::getCounters() noexcept {
    return { .written = nbWritten.load( std::memory_order_relaxed ),
             .lost = nbLost.load( std::memory_order_relaxed ),
             .failed = nbFailed.load( std::memory_order_relaxed ) + LgFileBuffer::getNbFailed(),
             .highWater = highWater.load( std::memory_order_relaxed ) };
}

OsFilePath LgLog::getLogPath() {
    const LgOutput* const to = output.load( std::memory_order_acquire );
    return to != nullptr ? to->getLogPath() : OsFilePath();
}

const LgLog::LevelInfo& LgLog::getInfo( LgTypes::Level level ) {
    static const LevelInfo& none = *new LevelInfo;
    const LgOutput* const to = output.load( std::memory_order_acquire );
    return to != nullptr ? to->getInfo( level ) : none;
}

bool LgLog::isInactiveOutputAllowed( LgTypes::Level level ) {
    return level != LgTypes::Profiling;
}

void LgLog::setLoggerActivation( bool isActive ) noexcept {
    _loggerActive.store( isActive, std::memory_order_release );
    if( !isActive && !LgFork::isChild() ) {
        endFlushes( std::numeric_limits<std::uint64_t>::max() );
    }
}

} // namespace Qv
