#include <base/init/inEx.h>

#include <string>

namespace Qv {

InEx::ExContextAliasAlreadyDefined::ExContextAliasAlreadyDefined( const char* file, int line,
                                                                  const char* key )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "Registering " ) + key + " twice." ).c_str() );
}

} // namespace Qv
