#include <base/values/dtTimeEx.h>

#include <string>

namespace Qv {

DtTimeEx::ExBadRate::ExBadRate( const char* file, int line, const Rational& rate )
    : ExCloneable( file, line ) {
    setReason( ( std::to_string( rate.getNumerator() ) + '/' +
                 std::to_string( rate.getDenominator() ) + " is no rate of time." )
                   .c_str() );
}

DtTimeEx::ExOutOfRange::ExOutOfRange( const char* file, int line, const char* operation )
    : ExCloneable( file, line ) {
    setReason( ( std::string( operation ) + ": the time index is out of range." ).c_str() );
}

} // namespace Qv
