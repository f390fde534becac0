#pragma once

#include <base/init/inVariable.h>

namespace Qv {

/// ombra::deployment::logDir
const InVariable<const char*>& getLogDirVariable() noexcept;

} // namespace Qv
