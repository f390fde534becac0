#pragma once

namespace Qv::OsFileLockSettings {

/// In whole seconds, at least 1; read when the package starts.
int getRefreshInterval() noexcept;
int getMaximumLife() noexcept;

} // namespace Qv::OsFileLockSettings
