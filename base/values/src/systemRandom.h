#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Qv {

/// Fills `bytes` from the operating system's source of unpredictable numbers. From any thread.
/// Raises ExSysErrorANSI if the source fails.
void fillFromSystemRandom( std::span<std::uint8_t> bytes );

} // namespace Qv
