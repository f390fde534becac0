#include <resmgt/literals/liEx.h>

#include <cstdio>

namespace Qv {

LiEx::ExConversionError::ExConversionError( const char* file, int line, const char* text,
                                            const char* expected )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "\"%.120s\" is not %.80s.", text, expected );
    setReason( reason );
}

} // namespace Qv
