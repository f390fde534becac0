#include <resmgt/content/ctHint.h>

namespace Qv {

CtHint::~CtHint() = default;

} // namespace Qv
