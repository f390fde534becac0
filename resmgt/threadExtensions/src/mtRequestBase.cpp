#include <resmgt/threadExtensions/mtRequestBase.h>

namespace Qv {

MtRequestBase::~MtRequestBase() = default;

} // namespace Qv
