#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/dynamicAllocation/daArenaAllocator.h>

namespace Qv {

/// Takes memory from the heap in pieces of at most 512 MiB.
///
/// Sizes:  while 64 MiB or more are missing, a piece has 512 MiB or what is missing, if that is
///         less. What is missing at the end, even nothing, comes as one whole piece of 64 MiB: the
///         sum can be larger than what was asked for.
/// Errors: a piece that isn't to be had is tried again with half its size, rounded down to whole
///         pages of 4096 bytes; below one page the search for memory ends. Lack of memory is never
///         an exception.
class QV_RESMGT_API DaMallocAllocator : public DaArenaAllocator {
public:
    /// A new allocator.
    static OPtrRet<DaMallocAllocator> create();

    Pieces allocate( std::size_t size ) override;
    void deallocate( const Pieces& pieces, std::size_t size ) override;

protected:
    DaMallocAllocator() = default;

    /// The heap itself: `operator new[]`; raises std::bad_alloc when it has no `size` bytes.
    virtual void* allocatePiece( std::size_t size );
    /// The heap itself: `operator delete[]`.
    virtual void deallocatePiece( void* piece ) noexcept;

private:
    bool appendPiece( Pieces& pieces, std::size_t size );
};

} // namespace Qv
