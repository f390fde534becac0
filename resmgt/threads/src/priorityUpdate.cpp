#include <resmgt/threads/priorityUpdate.h>

namespace Qv {

PriorityUpdate::~PriorityUpdate() noexcept( false ) = default;

} // namespace Qv
