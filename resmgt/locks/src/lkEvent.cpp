#include <resmgt/locks/lkEvent.h>

#include <resmgt/locks/src/lkDeadline.h>

#include <ostream>

namespace Qv {

void LkEvent::wait() const {
    static_cast<void>( _imp.wait( LkDeadline() ) );
}

bool LkEvent::timedWait( double seconds ) const {
    return _imp.wait( LkDeadline( seconds ) );
}

void LkEvent::dump( std::ostream& stream ) const {
    stream << "name " << getName() << ( _imp.isSet() ? " set" : " reset" );
}

} // namespace Qv
