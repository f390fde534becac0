#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/dynamicAllocation/daArenaAllocator.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

/// One large reservation of memory, made up front, from which blocks are carved without going back
/// to the system. Each piece that the allocator gave is one DaFirstFitArena; a block lies in one
/// piece.
///
/// Threads:  none inside; the owner locks.
/// Errors:   `std::bad_alloc` when the book-keeping lacks memory; the pool is then as before.
/// Lifetime: the destructor gives the memory back, and only then asserts "_nbAllocated == 0". It
///           can therefore throw. An owning pointer reports that and goes on.
class QV_RESMGT_API DaArenaPool {
public:
    /// Takes `allocator` over, which isn't null, and reserves `size` bytes with it. With an
    /// allocator that gives nothing, all allocations fail. `size` should be a multiple of 8: `dump`
    /// asserts that of each piece.
    static OPtrRet<DaArenaPool> create( DaArenaAllocator* allocator, std::size_t size );

    DaArenaPool( const DaArenaPool& ) = delete;
    DaArenaPool& operator=( const DaArenaPool& ) = delete;
    virtual ~DaArenaPool() noexcept( false );

    /// A block of at least `size` bytes whose address is a multiple of `alignment`, a power of two
    /// or 0. The pieces are tried in order; null when none can serve it.
    virtual void* allocate( std::size_t size, std::size_t alignment ) = 0;
    /// The same with the alignment 0: wherever a block ends.
    virtual void* allocate( std::size_t size ) = 0;
    /// Aborts with ExProgramAborted when `block` is no live block of this pool, null included.
    virtual void free( void* block ) = 0;
    virtual std::uint64_t getFreeBytes() const = 0;
    /// Writes the statistics of each arena, and their sum.
    virtual void dump( std::ostream& stream ) const = 0;

    /// The bytes asked for, whatever the allocator gave.
    std::uint64_t getSize() const noexcept { return _size; }

protected:
    DaArenaPool( DaArenaAllocator* allocator, std::size_t size );

    DaArenaAllocator& getAllocator() const noexcept { return *_allocator; }

private:
    const OPtr<DaArenaAllocator> _allocator;
    const std::uint64_t _size;
};

} // namespace Qv
