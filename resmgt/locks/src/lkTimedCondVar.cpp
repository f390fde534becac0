#include <resmgt/locks/lkTimedCondVar.h>

#include <resmgt/locks/src/lkDeadline.h>

#include <ostream>

namespace Qv {

LkTimedCondVar::~LkTimedCondVar() = default;

void LkTimedCondVar::performWait( const LkLock& lock ) const {
    static_cast<void>( _imp.wait( lock, LkDeadline() ) );
}

bool LkTimedCondVar::performTimedWait( const LkLock& lock, double seconds ) const {
    return _imp.wait( lock, LkDeadline( seconds ) );
}

std::ostream& operator<<( std::ostream& stream, const LkTimedCondVar& condVar ) {
    return stream << condVar.getName();
}

} // namespace Qv
