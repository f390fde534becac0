#include <resmgt/profiling/prEx.h>

#include <string>

namespace Qv {

PrEx::ExUnsupported::ExUnsupported( const char* file, int line )
    : ExCloneable( file, line ) {
    setReason( "Functionality unsupported by profiling package." );
}

PrEx::ExIllegalCounterIndex::ExIllegalCounterIndex( const char* file, int line, int index )
    : ExCloneable( file, line ) {
    const std::string reason =
        "Request with illegal counter index " + std::to_string( index ) + '.';
    setReason( reason.c_str() );
}

PrEx::ExIllegalInstanceName::ExIllegalInstanceName( const char* file, int line, const char* name )
    : ExCloneable( file, line ) {
    const std::string reason =
        std::string( "Request with illegal counter instance name " ) + name + '.';
    setReason( reason.c_str() );
}

PrEx::ExIllegalObjectIndex::ExIllegalObjectIndex( const char* file, int line, int index )
    : ExCloneable( file, line ) {
    const std::string reason =
        "Request with illegal counter object index " + std::to_string( index ) + '.';
    setReason( reason.c_str() );
}

} // namespace Qv
