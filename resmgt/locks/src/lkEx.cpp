#include <resmgt/locks/lkEx.h>

#include <cstdio>

namespace Qv {

LkEx::ExNoContent::ExNoContent( const char* file, int line, const char* holder, const char* name )
    : ExCloneable( file, line ) {
    char text[256];
    std::snprintf( text, sizeof( text ), "%s: \"%s\" has no content.", holder, name );
    setReason( text );
}

LkEx::ExDuplicateSingleton::ExDuplicateSingleton( const char* file, int line, const char* typeName )
    : ExCloneable( file, line ) {
    char text[512];
    std::snprintf( text, sizeof( text ), "Duplicate singleton of type %s.", typeName );
    setReason( text );
}

} // namespace Qv
