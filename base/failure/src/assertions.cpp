#include <base/failure/assertions.h>

#include <string>
#include <system_error>

namespace Qv {

ExAssertionFailed::ExAssertionFailed( const char* file, int line, const char* expression )
    : ExCloneable( file, line ) {
    setReason( "Assertion failed: \"" );
    setReason( expression );
    setReason( "\"" );
}

ExAssertionFailed::ExAssertionFailed( const char* file, int line, const char* expression,
                                      int error )
    : ExAssertionFailed( file, line, expression ) {
    setReason( ( ": " + std::generic_category().message( error ) + " (error " +
                 std::to_string( error ) + ')' )
                   .c_str() );
}

ExProgramAborted::ExProgramAborted( const char* file, int line, const char* message )
    : ExCloneable( file, line ) {
    setReason( "Program aborted" );
    if( message != nullptr ) {
        setReason( ": " );
        setReason( message );
    }
}

void Assertions::throwAssertionFailed( const char* file, int line, const char* expression ) {
    throw ExAssertionFailed( file, line, expression );
}

void Assertions::throwSysAssertionFailed( const char* file, int line, const char* expression,
                                          int error ) {
    throw ExAssertionFailed( file, line, expression, error );
}

void Assertions::throwProgramAborted( const char* file, int line, const char* message ) {
    throw ExProgramAborted( file, line, message );
}

void Assertions::throwDevelopmentProgramAborted( const char* file, int line, const char* message ) {
    throw ExProgramAborted( file, line, message );
}

} // namespace Qv
