#pragma once

#include <resmgt/dynamicAllocation/daMemoryMapAllocator.h>

namespace Qv {

/// Anonymous private mappings.
class DaMemoryMapAllocatorPosix final : public DaMemoryMapAllocator {
public:
    Pieces allocate( std::size_t size ) override;
    void deallocate( const Pieces& pieces, std::size_t size ) override;
};

} // namespace Qv
