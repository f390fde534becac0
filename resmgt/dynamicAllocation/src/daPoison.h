#pragma once

#include <cstddef>

#if defined( __SANITIZE_ADDRESS__ )
#    define QV_POISONS_MEMORY
#elif defined( __clang__ )
#    if __has_feature( address_sanitizer )
#        define QV_POISONS_MEMORY
#    endif
#endif

#if defined( QV_POISONS_MEMORY )
extern "C" void __asan_poison_memory_region( const volatile void* address, std::size_t size );
extern "C" void __asan_unpoison_memory_region( const volatile void* address, std::size_t size );
#endif

namespace Qv {

/// What the address sanitizer reports when it is read or written. Nothing happens in other builds.
namespace DaPoison {

#if defined( QV_POISONS_MEMORY )
inline void poison( void* memory, std::size_t size ) noexcept {
    __asan_poison_memory_region( memory, size );
}
inline void unpoison( void* memory, std::size_t size ) noexcept {
    __asan_unpoison_memory_region( memory, size );
}
#else
inline void poison( void*, std::size_t ) noexcept {}
inline void unpoison( void*, std::size_t ) noexcept {}
#endif

} // namespace DaPoison

} // namespace Qv
