#pragma once

namespace Qv::MbSettings {

/// How long a thread waits for memory before it reports that, in seconds; 0 or less for never.
int getStallReportSeconds() noexcept;

} // namespace Qv::MbSettings
