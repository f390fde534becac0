#include <base/ownership/rcEx.h>

#include <base/failure/qvHere.h>
#include <base/ownership/rcExUtil.h>
#include <base/text/typeName.h>

namespace Qv {

ExNullPtr::ExNullPtr( const char* file, int line, const char* typeName )
    : ExCloneable( file, line ) {
    setReason( "Null pointer to " );
    setReason( typeName );
    setReason( " dereferenced." );
}

ExCastFailed::ExCastFailed( const char* file, int line, const char* from, const char* to )
    : ExCloneable( file, line ) {
    setReason( "Object of type " );
    setReason( from );
    setReason( " is no " );
    setReason( to );
    setReason( "." );
}

void RCExUtil::throwExNullPtr( const char* typeName ) {
    throw ExNullPtr( QV_HERE, TypeName::makeReadable( typeName ).c_str() );
}

void RCExUtil::throwExCastFailed( const char* from, const char* to ) {
    throw ExCastFailed( QV_HERE, TypeName::makeReadable( from ).c_str(),
                        TypeName::makeReadable( to ).c_str() );
}

} // namespace Qv
