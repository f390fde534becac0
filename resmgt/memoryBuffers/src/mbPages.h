#pragma once

#include <cstddef>

namespace Qv::MbPages {

/// Memory straight from the system, zeroed and not touched yet; null where there is none.
void* map( std::size_t size ) noexcept;
/// Gives back what `map( size )` has answered. Where the system can't undo the mapping, for want of
/// room in its books, it gets at least the memory.
void unmap( void* memory, std::size_t size ) noexcept;

} // namespace Qv::MbPages
