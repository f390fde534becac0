#include <resmgt/random/rnEx.h>

#include <base/text/printable.h>

namespace Qv {

RnEx::ExBadState::ExBadState( const char* file, int line, const std::string& generator,
                              const std::string& text )
    : ExCloneable( file, line ) {
    setReason( ( "\"" + Printable::makeLine( text ) + "\" is not a state of the generator \"" +
                 generator + "\"." )
                   .c_str() );
}

} // namespace Qv
