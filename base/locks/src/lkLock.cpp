#include <base/locks/lkLock.h>
#include <base/locks/lkPause.h>

#include <ostream>
#include <thread>

namespace Qv {

void LkLock::dump( std::ostream& stream ) const {
    stream << "name " << _name << " holder " << _imp.getHolder() << '\n';
}

bool lkCanSpin() noexcept {
    static const bool canSpin = std::thread::hardware_concurrency() > 1;
    return canSpin;
}

std::ostream& operator<<( std::ostream& stream, const LkThreadId& id ) {
    return stream << id.getNum();
}

} // namespace Qv
