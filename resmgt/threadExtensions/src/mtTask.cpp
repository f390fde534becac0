#include <resmgt/threadExtensions/mtTask.h>

namespace Qv {

MtTaskImp::~MtTaskImp() = default;
MtTask::~MtTask() = default;

} // namespace Qv
