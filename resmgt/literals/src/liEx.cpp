#include <resmgt/literals/liEx.h>

#include <cstdio>

namespace Qv {

LiEx::ExBadRate::ExBadRate( const char* file, int line, const char* rate, const char* problem )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "The rate \"%.80s\" %.120s.", rate, problem );
    setReason( reason );
}

LiEx::ExConversionError::ExConversionError( const char* file, int line, const char* text,
                                            const char* expected )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "\"%.120s\" is not %.80s.", text, expected );
    setReason( reason );
}

} // namespace Qv
