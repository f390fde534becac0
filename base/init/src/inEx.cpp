#include <base/init/inEx.h>

#include <cstdio>

namespace Qv {

InEx::ExContextAliasAlreadyDefined::ExContextAliasAlreadyDefined( const char* file, int line,
                                                                  const char* key )
    : ExCloneable( file, line ) {
    char text[512];
    std::snprintf( text, sizeof( text ), "Registering %s twice.", key );
    setReason( text );
}

} // namespace Qv
