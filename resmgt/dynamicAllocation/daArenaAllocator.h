#pragma once

#include <base/containers/vector.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <utility>

namespace Qv {

/// Source of the memory of a DaArenaPool.
///
/// Threads: none of its own; the owner locks.
class QV_RESMGT_API DaArenaAllocator {
public:
    /// Address and size in bytes of each piece.
    using Pieces = Vector<std::pair<void*, std::size_t>>;

    DaArenaAllocator() = default;
    DaArenaAllocator( const DaArenaAllocator& ) = delete;
    DaArenaAllocator& operator=( const DaArenaAllocator& ) = delete;

    /// Reserves about `size` bytes. The answer may hold several pieces, less than was asked for, or
    /// more: partial success is no failure. Without memory it is empty.
    virtual Pieces allocate( std::size_t size ) = 0;
    /// Gives back what `allocate( size )` returned.
    virtual void deallocate( const Pieces& pieces, std::size_t size ) = 0;
    virtual ~DaArenaAllocator() = default;
};

} // namespace Qv
