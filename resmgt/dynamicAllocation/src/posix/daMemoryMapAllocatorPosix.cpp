#include <resmgt/dynamicAllocation/src/posix/daMemoryMapAllocatorPosix.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>

#include <sys/mman.h>

namespace Qv {

OPtrRet<DaMemoryMapAllocator> DaMemoryMapAllocator::create( const OsFilePath& ) {
    return OPtr<DaMemoryMapAllocator>( new DaMemoryMapAllocatorPosix );
}

DaArenaAllocator::Pieces DaMemoryMapAllocatorPosix::allocate( std::size_t size ) {
    // First the place in the list: with the mapping in hand nothing may fail.
    Pieces result( 1 );
    void* const memory =
        mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
    if( memory == MAP_FAILED ) {
        return Pieces();
    }
    result.front() = { memory, size };
    return result;
}

void DaMemoryMapAllocatorPosix::deallocate( const Pieces& pieces, std::size_t ) {
    if( !pieces.empty() && munmap( pieces.front().first, pieces.front().second ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "DaMemoryMapAllocatorPosix::deallocate" );
    }
}

} // namespace Qv
