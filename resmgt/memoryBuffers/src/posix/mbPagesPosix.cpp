#include <resmgt/memoryBuffers/src/mbPages.h>

#include <sys/mman.h>

namespace Qv {

void* MbPages::map( std::size_t size ) noexcept {
    void* const memory =
        ::mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
    return memory == MAP_FAILED ? nullptr : memory;
}

void MbPages::unmap( void* memory, std::size_t size ) noexcept {
    if( ::munmap( memory, size ) != 0 ) {
        ::madvise( memory, size, MADV_DONTNEED );
    }
}

} // namespace Qv
