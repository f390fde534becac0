#pragma once

#include <base/init/inVariable.h>

namespace Qv {

/// ombra::deployment::installDir.
const InVariable<const char*>& getInstallDirVariable() noexcept;

} // namespace Qv
