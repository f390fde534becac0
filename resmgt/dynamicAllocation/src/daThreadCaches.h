#pragma once

#include <resmgt/locks/lkSList.h>

#include <cstddef>
#include <cstdint>

namespace Qv {

class DaDepot;
class DaMagazine;

/// What one thread has of one depot: the magazine that it works on, and a spare one, which is
/// either full or empty. Its depot may be gone; DaDepot::getKey knows it from the one that came
/// after it.
struct alignas( 64 ) DaThreadCache {
    /// 0 for none.
    std::uint64_t _key = 0;
    /// Of the magazine that the thread works on: behind its last node, its begin, its end.
    LkSListNode** _top = nullptr;
    LkSListNode** _begin = nullptr;
    LkSListNode** _end = nullptr;
    DaMagazine* _loaded = nullptr;
    DaMagazine* _spare = nullptr;
    bool _isSpareFull = false;
};

/// A thread's caches of all depots, by the depots' numbers. No destructor: the thread's end is
/// hooked apart, so that the access costs no check of construction.
struct DaThreadCaches {
    /// Null without a cache of the depot with this key.
    DaThreadCache* find( std::uint64_t key ) const noexcept;
    /// The place for the depot's cache. Raises `std::bad_alloc`.
    DaThreadCache& makeRoom( std::uint64_t key );

    static std::size_t getNumber( std::uint64_t key ) noexcept { return key & 0xFFFFFF; }

    DaThreadCache* _caches = nullptr;
    std::size_t _size = 0;
    /// Set at the thread's end: thread-local objects of others may use pools later still.
    bool _isEnded = false;

    static thread_local constinit DaThreadCaches current
#if defined( __linux__ )
        __attribute__( ( tls_model( "initial-exec" ) ) )
#endif
        ;
};

inline DaThreadCache* DaThreadCaches::find( std::uint64_t key ) const noexcept {
    const std::size_t number = getNumber( key );
    return number < _size && _caches[number]._key == key ? &_caches[number] : nullptr;
}

} // namespace Qv
