#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/dynamicAllocation/src/daArenaPoolImp.h>

namespace Qv {

OPtrRet<DaArenaPool> DaArenaPool::create( DaArenaAllocator* allocator, std::size_t size ) {
    OPtr<DaArenaAllocator> owner( allocator );
    // `new` has its memory before it releases the owner.
    return OPtr<DaArenaPool>( new DaArenaPoolImp( owner.release(), size ) );
}

DaArenaPool::DaArenaPool( DaArenaAllocator* allocator, std::size_t size )
    : _allocator( allocator )
    , _size( size ) {}

DaArenaPool::~DaArenaPool() noexcept( false ) = default;

} // namespace Qv
