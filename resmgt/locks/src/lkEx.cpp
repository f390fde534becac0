#include <resmgt/locks/lkEx.h>

#include <string>

namespace Qv {

LkEx::ExNoContent::ExNoContent( const char* file, int line, const char* holder, const char* name )
    : ExCloneable( file, line ) {
    setReason( ( std::string( holder ) + ": \"" + name + "\" has no content." ).c_str() );
}

LkEx::ExDuplicateSingleton::ExDuplicateSingleton( const char* file, int line, const char* typeName )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "Duplicate singleton of type " ) + typeName + '.' ).c_str() );
}

} // namespace Qv
