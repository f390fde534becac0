#include <resmgt/threadExtensions/mtGroupCommand.h>

namespace Qv {

MtGroupCommand::~MtGroupCommand() = default;

} // namespace Qv
