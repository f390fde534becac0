#include <resmgt/threads/priorityEx.h>

namespace Qv {

namespace {

std::string quoted( const std::string& name ) {
    return '"' + name + '"';
}

std::string quotedWithValue( const std::string& name, int value ) {
    return quoted( name ) + " (" + std::to_string( value ) + ')';
}

} // namespace

PriorityEx::ExPriorityInUse::ExPriorityInUse( const char* file, int line,
                                              const std::string& priority,
                                              const std::string& relation,
                                              const std::string& otherPriority )
    : ExCloneable( file, line ) {
    setReason( ( "Attempt to delete priority " + quoted( priority ) + ": used by rel. " +
                 quoted( relation ) + " (with other pri. " + quoted( otherPriority ) + ')' )
                   .c_str() );
}

PriorityEx::ExRelationInvalid::ExRelationInvalid( const char* file, int line,
                                                  const std::string& name, const std::string& lhs,
                                                  int lhsValue, const char* relationText,
                                                  const std::string& rhs, int rhsValue )
    : ExCloneable( file, line ) {
    setReason( ( "Relation " + quoted( name ) + " invalid: " + quotedWithValue( lhs, lhsValue ) +
                 ' ' + relationText + ' ' + quotedWithValue( rhs, rhsValue ) )
                   .c_str() );
}

PriorityEx::ExError::ExError( const char* file, int line, const char* errorText )
    : ExCloneable( file, line ) {
    setReason( errorText );
}

} // namespace Qv
