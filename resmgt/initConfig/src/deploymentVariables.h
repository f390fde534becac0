#pragma once

#include <base/init/inVariable.h>

namespace Qv {

/// ombra::deployment::resourcesDir.
const InVariable<const char*>& getResourcesDirVariable() noexcept;
/// ombra::deployment::outputDir.
const InVariable<const char*>& getOutputDirVariable() noexcept;
/// ombra::deployment::pythonExec.
const InVariable<const char*>& getPythonExecVariable() noexcept;

} // namespace Qv
