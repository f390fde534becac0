#pragma once

#include <cstddef>

namespace Qv::HeapUse {

/// The bytes that the process has allocated and not freed.
std::size_t nbBytes() noexcept;
/// Whether that number is exact.
bool isExact() noexcept;

} // namespace Qv::HeapUse
