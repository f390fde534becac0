#include <resmgt/memoryBuffers/src/mbStateTrace.h>

#include <base/failure/qvHere.h>
#include <base/text/typeName.h>
#include <base/trace/traceManager.h>
#include <resmgt/memoryBuffers/src/mbStateImp.h>

#include <sstream>
#include <typeinfo>

namespace Qv::MbStateTrace {

namespace {

/// "Loaded" of "Qv::MbStates::Loaded".
std::string shortName( const MbState& state ) {
    const std::string name = TypeName::get( typeid( state ) );
    const std::size_t scope = name.rfind( ':' );
    return scope == std::string::npos ? name : name.substr( scope + 1 );
}

} // namespace

TraceLevel* const level = Trace::registerLevel( "MbStateMachine", "mbStateTrace.cpp" );

void logLine( const MbState& state, const MbBufferImp& buffer, const char* suffix ) noexcept {
    try {
        std::ostringstream text;
        MbStateImp::describe( text, buffer );
        text << " -->  " << shortName( state ) << suffix;
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    } catch( ... ) {
        // Tracing never changes what the traced state does: a line is missing.
    }
}

Scope::Entry::Entry( const MbState& state, const char* operation )
    : name( shortName( state ) + "::" + operation )
    , entry( TraceManager::getInstance().getTrace(), *level, name.c_str(), QV_HERE ) {}

void Scope::open( const MbState& state, const MbBufferImp& buffer,
                  const char* operation ) noexcept {
    try {
        _entry = std::make_unique<Entry>( state, operation );
    } catch( ... ) {
        // As above.
    }
    logLine( state, buffer, "" );
}

} // namespace Qv::MbStateTrace
