#include <base/values/rationalEx.h>

#include <string>

namespace Qv {

RationalEx::ExBadFormat::ExBadFormat( const char* file, int line, const char* text,
                                      const char* expected )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "\"" ) + text + "\" is not " + expected + '.' ).c_str() );
}

RationalEx::ExOutOfRange::ExOutOfRange( const char* file, int line, const char* text )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "\"" ) + text + "\" is out of the range of a fraction." ).c_str() );
}

} // namespace Qv
