#include <base/locks/lkLock.h>

#include <ostream>

namespace Qv {

void LkLock::dump( std::ostream& stream ) const {
    stream << "name " << _name << " holder " << _imp.getHolder() << '\n';
}

std::ostream& operator<<( std::ostream& stream, const LkThreadId& id ) {
    return stream << id.getNum();
}

} // namespace Qv
