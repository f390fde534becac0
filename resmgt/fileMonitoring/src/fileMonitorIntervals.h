#pragma once

/// The configured intervals of the file monitor, in seconds.
namespace Qv::FileMonitorIntervals {

double getIterationInterval() noexcept;
double getFileInterval() noexcept;

} // namespace Qv::FileMonitorIntervals
