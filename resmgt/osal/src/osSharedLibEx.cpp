#include <resmgt/osal/osSharedLibEx.h>

namespace Qv {

OsSharedLibEx::ExCantOpenLib::ExCantOpenLib( const char* file, int line, const char* path,
                                             const char* reason )
    : ExCloneable( file, line ) {
    setReason( "Can't open dynamic library '" );
    setReason( path );
    setReason( "'" );
    if( reason != nullptr ) {
        setReason( ": " );
        setReason( reason );
    }
}

OsSharedLibEx::ExFunctionNotFound::ExFunctionNotFound( const char* file, int line,
                                                       const char* function, const char* path )
    : ExCloneable( file, line ) {
    setReason( "Function '" );
    setReason( function );
    setReason( "' not found in dynamic library '" );
    setReason( path );
    setReason( "'" );
}

} // namespace Qv
