#include <resmgt/logger/lgEx.h>

#include <string>

namespace Qv {

LgEx::InvalidLevelString::InvalidLevelString( const char* file, int line, const char* text )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "Invalid level string specified: " ) + text ).c_str() );
}

} // namespace Qv
