#include <resmgt/locks/lkAsyncHandle.h>

namespace Qv {

LkAsyncHandle::~LkAsyncHandle() = default;

} // namespace Qv
