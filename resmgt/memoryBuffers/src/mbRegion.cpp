#include <resmgt/memoryBuffers/mbRegion.h>

#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>

#include <sstream>

namespace Qv {

namespace {

/// Logs what `write` writes, on entering and leaving `name`.
template <class Write>
void logEntry( TraceLevel& level, const char* name, Write write ) noexcept {
    try {
        Trace& trace = TraceManager::getInstance().getTrace();
        const Trace::Entry entry( trace, level, name, QV_HERE );
        std::ostringstream text;
        write( text );
        trace.log( text, QV_HERE );
    } catch( ... ) {
        // Tracing never changes what the traced object does: a line is missing.
    }
}

} // namespace

TraceLevel* const MbRegion::_traceLevel = Trace::registerLevel( "MbRegion", "mbRegion.inline" );

void MbRegion::traceDefault() const noexcept {
    logEntry( *_traceLevel, "MbRegion::MbRegion",
              []( std::ostream& text ) { text << "Constructor MbRegion::_header = 0 "; } );
}

void MbRegion::traceFilled() const noexcept {
    logEntry( *_traceLevel, "MbRegion::MbRegion( args )", [this]( std::ostream& text ) {
        text << "Constructor MbRegion::_header = " << _header;
    } );
}

void MbRegion::traceAssignment( const MbRegion& other ) const noexcept {
    logEntry( *_traceLevel, "MbRegion::operator=( rhs )", [&]( std::ostream& text ) {
        text << "Assignment MbRegion::_header = " << _header << " --> " << other._header;
    } );
}

} // namespace Qv
