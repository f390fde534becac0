#include <resmgt/locks/lkCondVar.h>

#include <ostream>

namespace Qv {

LkCondVar::~LkCondVar() = default;

void LkCondVar::performWait( const LkLock& lock ) const {
    _imp.wait( lock );
}

std::ostream& operator<<( std::ostream& stream, const LkCondVar& condVar ) {
    return stream << condVar.getName();
}

} // namespace Qv
