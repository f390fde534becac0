#pragma once

#include <base/init/inVariable.h>

namespace Qv {

inline constexpr const char* USER_INIT_FILE_ENV = "QV_USER_INIT_FILE";

/// ombra::deployment::userInitFile.
const InVariable<const char*>& getUserInitFileVariable() noexcept;

} // namespace Qv
