#include <resmgt/locks/lkRecLock.h>

namespace Qv {

void LkRecLock::dump( std::ostream& stream ) const {
    _imp.dump( stream );
}

} // namespace Qv
