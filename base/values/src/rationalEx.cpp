#include <base/values/rationalEx.h>

#include <cstdio>

namespace Qv {

RationalEx::ExBadFormat::ExBadFormat( const char* file, int line, const char* text,
                                      const char* expected )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "\"%.120s\" is not %.80s.", text, expected );
    setReason( reason );
}

RationalEx::ExOutOfRange::ExOutOfRange( const char* file, int line, const char* text )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "\"%.120s\" is out of the range of a fraction.",
                   text );
    setReason( reason );
}

} // namespace Qv
