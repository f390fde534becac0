#pragma once

#include <cstddef>
#include <cstdint>

namespace Qv {

/// The lines that a DaMemPool writes to the calling thread's trace.
namespace DaMemPoolTrace {

/// On the level "DaMemPool": a chunk was taken; `nbBytes` are those of its class so far.
void traceExpansion( const char* name, std::size_t nodeSize, std::uint32_t nbBytes );
/// On the same level: `nbBytes` are those of the pool so far.
void traceTotal( const char* name, std::uint32_t nbBytes );
/// Writes both sides, on the main level, and then fails the assertion "size <= _maxSize".
[[noreturn]] void failSize( std::size_t size, std::uint64_t maxSize );

} // namespace DaMemPoolTrace

} // namespace Qv
