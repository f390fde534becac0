#pragma once

#include <resmgt/memoryBuffers/mbPoolManager.h>

#include <memory>

namespace Qv {

class MbBlocks;

/// Takes memory from the general allocator and counts it against a limit. A buffer counts with its
/// size and the most that its alignment may cost.
///
/// Memory: large blocks are mapped from the system, so that nothing of them stays in the heap of
///         the thread that gave them back. A block that is given back is kept for the next buffer
///         of its size, within the limit, and until no buffer has memory any more.
/// Errors: MbEx::ExNotEnoughMemory for a buffer that needs more than the limit, and when the
///         allocator has no more.
class QV_RESMGT_API MbHeapManager : public MbPoolManager {
public:
    MbHeapManager( const std::string& name, unsigned long long maxAllocatedBytes,
                   OPtr<MbUnloadStrategy> strategy );
    ~MbHeapManager() override;

private:
    void dumpUnlocked( std::ostream& stream ) const override QV_REQUIRES( _lock );
    bool tryAllocateRegion( MbBufferImp* buffer ) override QV_REQUIRES( _lock );
    void deallocateRegionImp( const MbRegion& region ) override QV_REQUIRES( _lock );
    void deallocateRegionImp( MbBufferImp* buffer ) override QV_REQUIRES( _lock );
    unsigned long long getSizeImp() const override QV_REQUIRES( _lock );
    unsigned long long getFreeSpaceImp() const override QV_REQUIRES( _lock );

    const std::uint64_t _maxAllocatedBytes;
    std::uint64_t _allocatedBytes QV_GUARDED_BY( _lock ) = 0;
    const std::unique_ptr<MbBlocks> _blocks QV_PT_GUARDED_BY( _lock );
};

} // namespace Qv
