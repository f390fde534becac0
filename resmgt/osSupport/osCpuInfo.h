#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>

/// The counter behind every time stamp. HwCounter is the way to it.
///
/// Steady:  it counts at one rate, is never set, and never goes back, whichever processors the
///          readings come from: a reading that happens after another is at least as large.
/// Source:  on this platform CLOCK_MONOTONIC_RAW in nanoseconds. A processor's own time stamp
///          counter would save about 5 ns a reading where it is invariant, but begins anew when
///          the machine wakes from suspension, and has to be calibrated at each start; see
///          docs/time.md for the measurements.
/// Threads: any.
namespace Qv::OsCpuInfo {

/// Ticks since some moment before the process began. Raises ExSysErrorANSI when the counter can't
/// be read.
QV_RESMGT_API std::uint64_t getHwCounterValue();
/// Ticks a second.
QV_RESMGT_API std::uint64_t getHwCounterFrequency() noexcept;

} // namespace Qv::OsCpuInfo
