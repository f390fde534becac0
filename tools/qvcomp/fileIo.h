#pragma once

#include <cstddef>
#include <cstdint>

namespace Qv::Comp {

/// Writes all of `bytes` at `offset` of the file `descriptor`, resumed after a signal and after a
/// part. Returns 0 or the system's error number.
int writeFully( int descriptor, const void* bytes, std::size_t size,
                std::uint64_t offset ) noexcept;

/// Reads like writeFully; a file that ends too early is EIO.
int readFully( int descriptor, void* bytes, std::size_t size, std::uint64_t offset ) noexcept;

} // namespace Qv::Comp
