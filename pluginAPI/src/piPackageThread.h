#pragma once

/// The thread that has started the packages.
namespace Qv::PiPackageThread {

void setCurrent() noexcept;
void reset() noexcept;

} // namespace Qv::PiPackageThread
