#include <base/trace/trace.h>

#include <base/failure/assertions.h>
#include <base/failure/src/exForeign.h>
#include <base/locks/lkLock.h>
#include <base/text/printable.h>
#include <base/trace/traceManager.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <sstream>
#include <string_view>

namespace Qv {

constinit TraceLevel Trace::MainTraceLevel( "Main", "trace", true );

namespace {

/// All registered levels. Made at first use and never destroyed, since levels are registered by
/// static initialisers and used by static destructors.
struct LevelRegistry {
    LkLock _lock{ "LevelRegistry" };
    std::deque<TraceLevel> _levels QV_GUARDED_BY( _lock );

    static LevelRegistry& getInstance() {
        static LevelRegistry* const instance = new LevelRegistry;
        return *instance;
    }
};

/// Whether the environment asks for the level.
bool isWanted( std::string_view name ) {
    const char* const variable = std::getenv( "QV_TRACE_LEVELS" );
    std::string_view rest = variable != nullptr ? variable : "";
    while( !rest.empty() ) {
        const std::size_t comma = rest.find( ',' );
        const std::string_view entry = rest.substr( 0, comma );
        if( entry == name || entry == "all" ) {
            return true;
        }
        rest = comma == std::string_view::npos ? "" : rest.substr( comma + 1 );
    }
    return false;
}

void printLevel( std::ostream& stream, const TraceLevel& level ) {
    stream << level.getName() << " (" << level.getFile()
           << "): " << ( level.isEnabled() ? "on" : "off" ) << '\n';
}

} // namespace

Trace::Trace() = default;
Trace::~Trace() = default;

TraceLevel* Trace::registerLevel( const char* name, const char* file ) {
    LevelRegistry& registry = LevelRegistry::getInstance();
    const LkGuard<const LkLock> guard( registry._lock );
    for( TraceLevel& level : registry._levels ) {
        if( std::strcmp( level.getName(), name ) == 0 &&
            std::strcmp( level.getFile(), file ) == 0 ) {
            return &level;
        }
    }
    return &registry._levels.emplace_back( name, file, isWanted( name ) );
}

void Trace::log( std::ostream& text, const char* file, int line ) {
    const auto* const buffer = dynamic_cast<const std::stringbuf*>( text.rdbuf() );
    QV_ASSERT( buffer != 0 );
    printLine( buffer->str(), file, line );
}

void Trace::printException( const ExBase& exception, const char* file, int line ) noexcept {
    try {
        printLine( std::string( "Exception: " ) + exception.getDetailedReason(), file, line );
    } catch( ... ) {
        // There is no other place left to report to.
    }
}

void Trace::printCurrentException( const char* context, const char* file, int line ) noexcept {
    try {
        Trace& trace = TraceManager::getInstance().getTrace();
        const auto printForeign = [&]( const char* detail ) {
            trace.printException(
                ExCaughtException( file, line, context, currentExceptionType().c_str(), detail ),
                file, line );
        };
        try {
            throw;
        } catch( const ExBase& exception ) {
            trace.printException( exception, file, line );
        } catch( const std::exception& exception ) {
            printForeign( exception.what() );
        } catch( ... ) {
            printForeign( nullptr );
        }
    } catch( ... ) {
        // There is no memory to report it with.
    }
}

void Trace::printLevels( std::ostream& stream ) {
    printLevel( stream, MainTraceLevel );
    LevelRegistry& registry = LevelRegistry::getInstance();
    const LkGuard<const LkLock> guard( registry._lock );
    for( const TraceLevel& level : registry._levels ) {
        printLevel( stream, level );
    }
}

void Trace::print( const std::string& line ) {
    // Standard error isn't buffered: one call is one write.
    std::fwrite( line.data(), 1, line.size(), stderr );
}

void Trace::printLine( const std::string& text, const char* file, int line ) {
    std::ostringstream stream;
    stream << "[" << LkThreadId( ThreadNumber::get() ).getNum() << "] "
           << std::string( static_cast<std::size_t>( _depth ) * 2, ' ' )
           << Printable::makeText( text ) << "  (" << file << ':' << line << ")\n";
    print( stream.str() );
}

Trace::Entry::Entry( Trace& trace, const TraceLevel& level, const char* functionName,
                     const char* file, int line )
    : _trace( isEnabled( level ) ? &trace : nullptr )
    , _functionName( functionName )
    , _file( file )
    , _line( line ) {
    if( _trace != nullptr ) {
        write( "> " );
        ++_trace->_depth;
    }
}

Trace::Entry::~Entry() {
    if( _trace != nullptr ) {
        --_trace->_depth;
        write( "< " );
    }
}

void Trace::Entry::write( const char* mark ) noexcept {
    try {
        _trace->printLine( std::string( mark ) + _functionName, _file, _line );
    } catch( ... ) {
        // Tracing never changes what the traced function does.
    }
}

} // namespace Qv
