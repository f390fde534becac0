#include <base/values/dtTimeEx.h>

#include <cstdio>

namespace Qv {

DtTimeEx::ExBadRate::ExBadRate( const char* file, int line, const Rational& rate )
    : ExCloneable( file, line ) {
    char reason[128];
    std::snprintf( reason, sizeof( reason ), "%d/%d is no rate of time.", rate.getNumerator(),
                   rate.getDenominator() );
    setReason( reason );
}

DtTimeEx::ExOutOfRange::ExOutOfRange( const char* file, int line, const char* operation )
    : ExCloneable( file, line ) {
    char reason[128];
    std::snprintf( reason, sizeof( reason ), "%.80s: the time index is out of range.", operation );
    setReason( reason );
}

} // namespace Qv
