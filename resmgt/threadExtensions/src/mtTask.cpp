#include <resmgt/threadExtensions/mtTask.h>

namespace Qv {

MtTaskImp::~MtTaskImp() = default;

} // namespace Qv
