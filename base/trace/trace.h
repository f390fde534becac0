#pragma once

#include <base/failure/exBase.h>
#include <base/qvBaseApi.h>

#include <atomic>
#include <iosfwd>
#include <string>

namespace Qv {

/// A named switch for trace output; made by `Trace::registerLevel`, lives as long as the process.
class QV_BASE_API TraceLevel {
public:
    constexpr TraceLevel( const char* name, const char* file, bool isEnabled ) noexcept
        : _name( name )
        , _file( file )
        , _isEnabled( isEnabled ) {}
    TraceLevel( const TraceLevel& ) = delete;
    TraceLevel& operator=( const TraceLevel& ) = delete;

    const char* getName() const noexcept { return _name; }
    /// The source file that registered it.
    const char* getFile() const noexcept { return _file; }
    /// From any thread; takes effect at the next statement of each.
    void setEnabled( bool isEnabled ) noexcept {
        _isEnabled.store( isEnabled, std::memory_order_relaxed );
    }
    bool isEnabled() const noexcept { return _isEnabled.load( std::memory_order_relaxed ); }

private:
    const char* const _name;
    const char* const _file;
    // Relaxed: a switch orders nothing.
    std::atomic<bool> _isEnabled;
};

/// A thread's trace output, reached through `TraceManager::getInstance().getTrace()`.
///
/// Text:    what a terminal would take for a command is replaced, see Printable::makeText.
/// Levels:  off until `TraceLevel::setEnabled`, or named in the environment variable
///          QV_TRACE_LEVELS, a list separated by commas, in which "all" names every level.
///          MainTraceLevel is on.
/// Threads: an object belongs to one thread; the static operations are for any.
/// Cost:    a closed level costs one load.
///
///     static TraceLevel* const level = Trace::registerLevel( "MbRegion", "mbRegion.inline" );
///     if( Trace::isEnabled( *level ) ) {
///         std::ostringstream text;
///         text << "header " << header;
///         TraceManager::getInstance().getTrace().log( text, QV_HERE );
///     }
class QV_BASE_API Trace {
public:
    class Entry;

    /// The level that is always present; on unless it is switched off.
    static TraceLevel MainTraceLevel;

    Trace();
    Trace( const Trace& ) = delete;
    Trace& operator=( const Trace& ) = delete;
    virtual ~Trace();

    /// Both texts are kept, not copied. A second call with the same two gives the same level. Works
    /// before `main`.
    static TraceLevel* registerLevel( const char* name, const char* file );
    static bool isEnabled( const TraceLevel& level ) noexcept { return level.isEnabled(); }

    /// Writes the text that the caller put into a string stream, as one line. A stream of another
    /// kind is an assertion.
    void log( std::ostream& text, const char* file, int line );
    /// Reports an exception, whatever levels are open. A failure to report it ends here.
    void printException( const ExBase& exception, const char* file, int line ) noexcept;
    /// Reports the exception that is being handled, of whatever type, on the calling thread's
    /// trace. `context` is where a foreign one, which is no ExBase, was caught. REQUIRES: within a
    /// catch.
    static void printCurrentException( const char* context, const char* file, int line ) noexcept;
    /// One line a level: name, file, on or off.
    static void printLevels( std::ostream& stream );

protected:
    /// Where the finished line goes, its end included; by default to standard error, in one write.
    virtual void print( const std::string& line );

private:
    void printLine( const std::string& text, const char* file, int line );

    int _depth = 0;
};

/// Logs entering and leaving a function while the level is enabled. The texts are kept, not copied.
class QV_BASE_API Trace::Entry {
public:
    Entry( Trace& trace, const TraceLevel& level, const char* functionName, const char* file,
           int line );
    Entry( const Entry& ) = delete;
    Entry& operator=( const Entry& ) = delete;
    ~Entry();

private:
    void write( const char* mark ) noexcept;

    Trace* const _trace;
    const char* const _functionName;
    const char* const _file;
    const int _line;
};

} // namespace Qv
