#include <resmgt/locks/lkWaitable.h>

namespace Qv {

LkWaitable::~LkWaitable() = default;

LkTimedWaitable::~LkTimedWaitable() = default;

} // namespace Qv
