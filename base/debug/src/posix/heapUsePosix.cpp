#include <base/debug/src/heapUse.h>

#include <malloc.h>

// Every sanitizer's run-time library has it; without one the address is null.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace Qv {

std::size_t HeapUse::nbBytes() noexcept {
    if( isExact() ) {
        return ::__sanitizer_get_current_allocated_bytes();
    }
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

bool HeapUse::isExact() noexcept {
    return &::__sanitizer_get_current_allocated_bytes != nullptr;
}

} // namespace Qv
