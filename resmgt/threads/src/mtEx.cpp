#include <resmgt/threads/mtEx.h>

#include <string>

namespace Qv {

MtEx::ExNotImplemented::ExNotImplemented( const char* file, int line, const char* operation )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "Feature not implemented: " ) + operation ).c_str() );
}

MtEx::ExRealTimeNotEnabled::ExRealTimeNotEnabled( const char* file, int line, const char* reason )
    : ExCloneable( file, line ) {
    setReason( ( std::string( "Failure to enable real-time: " ) + reason + '.' ).c_str() );
}

} // namespace Qv
