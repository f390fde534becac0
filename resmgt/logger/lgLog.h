#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/logger/lgTypes.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Qv {

class LgQueue;
class LgRegistry;

/// The front end of the logger: where each level goes, how a line looks, and the options.
/// docs/logging.md describes the variables, the line and the files.
///
/// Phases:   uninitialised; initialised by `init`; active between `setLoggerActivation( true )` and
///           `( false )`, when statements go through queues; uninitialised again after `destroy`.
///           `init` and `destroy` are the package's, the activation is that of MtLogger.
/// Threads:  `init` and `destroy` run beside nothing else. Operations that write lines are for any
///           thread; one lock serialises them. Options and queries are plain reads and writes for
///           any thread.
/// Forks:    a forked child has no reader and may have inherited a held lock: its lines go straight
///           to standard error, without a lock, a file or the event log.
/// Errors:   writing a line never raises. A failed write is reported once on standard error and
///           tried again each second; the lines lost meanwhile are counted in the file afterwards.
/// Stalls:   a line waits 5 seconds at most for the one that another thread writes, and not at all
///           once such a wait has failed. The line is lost then, and counted.
/// Lifetime: all that statements need outlives the static destructors.
class QV_RESMGT_API LgLog {
public:
    /// The targets of a level.
    struct LevelInfo {
        /// Whether lines of the level are written.
        bool enabled = false;
        /// To standard output.
        bool echoed = false;
        /// The file keeps the text that it has.
        bool appended = false;
        /// To the system's event log.
        bool osLogged = false;
        /// Not owned; null without a file.
        std::ostream* output = nullptr;
        /// Empty for no file; not joined to the log directory.
        std::wstring file;
        /// The system's error for which the file couldn't be opened; 0 for none.
        int openError = 0;
    };

    /// The origin of a line: level, time and thread.
    struct EntryInfo {
        /// The level of the line.
        LgTypes::Level level;
        /// In ticks of HwCounter; 0 for now.
        std::uint64_t timeStamp = 0;
        /// Null for none.
        const char* threadName = nullptr;
        /// The thread that wrote the line.
        unsigned long threadId = 0;
        /// Above 0: the line stands for so many lost statements.
        std::uint64_t lostStatements = 0;
        /// When it is printed, in ticks; 0 for now. A reader of many lines takes it once for each.
        std::uint64_t printStamp = 0;
    };

    /// Since the process began.
    struct Counters {
        /// Lines that were handed to the output, those that stand for lost statements excepted.
        std::uint64_t written = 0;
        /// Statements that the lines "Event overflow" stand for, and those refused without a queue.
        std::uint64_t lost = 0;
        /// Lines that a file didn't take.
        std::uint64_t failed = 0;
        /// The largest number of entries that a queue held.
        std::uint64_t highWater = 0;
    };

    /// Where lines go that nobody has set another way for.
    enum InitDefaultsType {
        /// Errors, warnings and messages to the user are echoed to standard output, as is tracing.
        ECHO_BY_DEFAULT = 0,
        /// Nothing is echoed, unless a variable asks for it.
        NO_ECHO_BY_DEFAULT = 1,
        /// The same, and tracing goes to the main log file.
        FILE_BY_DEFAULT = 2
    };

    /// Answers with the calling thread's queue.
    using QueueFunction = LgQueue* (*)();

    LgLog() = delete;

    /// Reads the environment, chooses and cleans the log directory, opens the files.
    /// Errors: LgEx::InvalidLevelString, and an assertion, for a malformed QV_LOG_GROUPS. After a
    ///         failure all is as before. A directory that can't be used, or a file that can't be
    ///         opened, is no failure; the one is traced, the other reported on standard error.
    static void init();
    /// Writes the last lines. The files stay open for those who still log, until the next `init`.
    static void destroy();

    /// The calling thread's queue; null while it can't have one, in which case a statement goes
    /// through `outputDirectly`. Without a queue function it is a queue of the whole process, with
    /// the id 0 and an empty name.
    static LgQueue* getQueue() { return _queueFunction.load( std::memory_order_acquire )(); }
    /// Null reinstates the initial function.
    static void setQueueFunction( QueueFunction function ) noexcept;
    /// Null before the first `init`.
    static LgRegistry* getRegistry() noexcept {
        return _registry.load( std::memory_order_acquire );
    }
    /// Moves all queues of the registry in force to the new one, unless that is null, and returns
    /// the former. Without memory nothing changes.
    static OPtrRet<LgRegistry> setRegistry( OPtr<LgRegistry> registry );

    /// Writes the line that `prefix` and `message` make to the targets of its level.
    static void outputEntry( LgTypes::Level level, const char* prefix, const char* message );
    /// The same with what the JSON file and the counters need; for the reader.
    static void outputEntry( const EntryInfo& info, const char* prefix, const char* message );
    /// A statement without a queue: `text` is all of it, with the group and without a line end.
    /// It goes to its level's targets when the front end is initialised, else to standard output.
    /// Profiling is dropped. Within another output of the thread it is refused and counted.
    static void outputDirectly( LgTypes::Level level, const char* text ) noexcept;
    /// The same to standard output, whatever the level's targets are.
    static void printDirectly( LgTypes::Level level, const char* text ) noexcept;
    /// The head of a line, up to the text: time stamp, time, level, thread name, thread id, as the
    /// options say. The time is that of printing; a stamp of before the start is 0. The stream is
    /// left as it was.
    static void printPrefix( std::ostream& stream, unsigned long long timeStamp,
                             LgTypes::Level level, const char* threadName, unsigned long threadId );
    /// The same at the end of `text`.
    static void appendPrefix( std::string& text, const EntryInfo& info );
    /// Where each level goes, and the options.
    static void dump( std::ostream& stream );

    /// The reader's work between lines: at most once a second it looks at the control file, at
    /// files whose names lead elsewhere, and tries again what failed. Cheap in between.
    static void maintain() noexcept;
    /// For the reader, while a flush is wanted, which looks at the queues next: the stamp of that
    /// look. It sees all that was published ahead of a `flush` with a lower stamp.
    static std::uint64_t beginLook() noexcept;
    /// For the reader after such a look: everything stamped up to `timeStamp` has been handed to
    /// the output.
    static void noteHandled( std::uint64_t timeStamp ) noexcept;
    /// For the reader: a queue held so many entries.
    static void noteQueueLevel( std::size_t nbEntries ) noexcept;
    /// Whether a thread waits in `flush`, so that the reader mustn't sleep long, and notes what it
    /// has handled. A waiter that one pass doesn't see, the next one does.
    static bool isFlushWanted() noexcept {
        return _flushWanted.load( std::memory_order_relaxed ) != 0;
    }

    /// Waits until all that any thread published before the call has been handed to the output, and
    /// returns whether that came within `seconds`. Without an active logger there is nothing to
    /// wait for; where it ends meanwhile, so does the wait. Within an output, which would wait for
    /// itself, it is false at once.
    static bool flush( double seconds );

    static Counters getCounters() noexcept;

    /// Empty without one.
    static OsFilePath getLogPath();
    static const std::wstring& getLevelFile( LgTypes::Level level ) {
        return getInfo( level ).file;
    }
    static std::ostream* getLevelOutput( LgTypes::Level level ) { return getInfo( level ).output; }
    /// The system's error for which the level's file couldn't be opened; 0 for none.
    static int getLevelOpenError( LgTypes::Level level ) { return getInfo( level ).openError; }
    static bool isLevelEnabled( LgTypes::Level level ) { return getInfo( level ).enabled; }
    static bool isLevelEchoed( LgTypes::Level level ) { return getInfo( level ).echoed; }
    static bool isLevelAppended( LgTypes::Level level ) { return getInfo( level ).appended; }
    static bool isLevelOSLogged( LgTypes::Level level ) { return getInfo( level ).osLogged; }
    static bool isLevelFiled( LgTypes::Level level ) { return getInfo( level ).output != nullptr; }
    /// False for Profiling, which is dropped while the logger isn't active.
    static bool isInactiveOutputAllowed( LgTypes::Level level );

    static void setLoggerActivation( bool isActive ) noexcept;
    /// Cost: a load, so that each statement can ask.
    static bool isLoggerActive() noexcept {
        return _loggerActive.load( std::memory_order_acquire );
    }
    static bool isInitialized() noexcept { return _initialized.load( std::memory_order_acquire ); }
    /// The stamp of the start, in ticks of HwCounter.
    static std::uint64_t getStart() noexcept { return _start; }

    /// Takes effect with the next `init`.
    static void setInitializeDefaults( InitDefaultsType type ) noexcept { _initDefaults = type; }
    static void setBlockingTrace( bool isBlocking ) noexcept {
        setOption( BLOCKING_TRACE, isBlocking );
    }
    static bool getBlockingTrace() noexcept { return isOption( BLOCKING_TRACE ); }

    /// Lines name their level from now on.
    static void enableLogLevels() noexcept { setOption( LOG_LEVELS, true ); }
    /// Lines don't name their level any more.
    static void disableLogLevels() noexcept { setOption( LOG_LEVELS, false ); }
    static bool isLogLevelsEnabled() noexcept { return isOption( LOG_LEVELS ); }
    /// Lines name their thread from now on.
    static void enableThreadNames() noexcept { setOption( THREAD_NAMES, true ); }
    /// Lines don't name their thread any more.
    static void disableThreadNames() noexcept { setOption( THREAD_NAMES, false ); }
    static bool isThreadNamesEnabled() noexcept { return isOption( THREAD_NAMES ); }
    /// Lines have the number of their thread from now on.
    static void enableThreadIds() noexcept { setOption( THREAD_IDS, true ); }
    /// Lines have no number of their thread any more.
    static void disableThreadIds() noexcept { setOption( THREAD_IDS, false ); }
    static bool isThreadIdsEnabled() noexcept { return isOption( THREAD_IDS ); }
    /// Lines have the time from now on.
    static void enableTimeStamps() noexcept { setOption( TIME_STAMPS, true ); }
    /// Lines have no time any more.
    static void disableTimeStamps() noexcept { setOption( TIME_STAMPS, false ); }
    static bool isTimeStampsEnabled() noexcept { return isOption( TIME_STAMPS ); }

private:
    friend class LgLogStart;

    enum Option {
        TIME,
        TIME_STAMPS,
        THREAD_IDS,
        THREAD_NAMES,
        LOG_LEVELS,
        BLOCKING_TRACE,
        NB_OPTIONS
    };
    using Levels = std::array<LevelInfo, LgTypes::NUM_LEVELS>;

    static const LevelInfo& getInfo( LgTypes::Level level );
    static bool isOption( Option option ) noexcept {
        return _options[option].load( std::memory_order_relaxed );
    }
    static void setOption( Option option, bool value ) noexcept {
        _options[option].store( value, std::memory_order_relaxed );
    }
    static LgQueue* getDefaultQueue();
    /// Those who wait for stamps before this one go on.
    static void endFlushes( std::uint64_t timeStamp ) noexcept;

    // Relaxed: an option orders nothing.
    static std::array<std::atomic<bool>, NB_OPTIONS> _options;
    // Written by the thread that starts or ends the logger; a release, so that who sees the logger
    // active or initialised sees what it needs.
    static std::atomic<bool> _initialized;
    static std::atomic<bool> _loggerActive;
    static std::atomic<QueueFunction> _queueFunction;
    static std::atomic<LgRegistry*> _registry;
    // The stamp up to which threads in `flush` wait for the reader; 0 for none. Stored under their
    // lock.
    static std::atomic<std::uint64_t> _flushWanted;
    static std::uint64_t _start;
    static InitDefaultsType _initDefaults;
};

} // namespace Qv
