#pragma once

namespace Qv {

/// The threads of this process, the watchdog among them. A joined thread may be counted for a
/// moment longer: compare with `waitUntil`.
int countThreads();

/// The open file descriptors of this process.
int countDescriptors();

} // namespace Qv
