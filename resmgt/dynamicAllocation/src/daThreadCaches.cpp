#include <resmgt/dynamicAllocation/src/daThreadCaches.h>

#include <resmgt/dynamicAllocation/src/daDepotRegistry.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace Qv {

constinit thread_local DaThreadCaches DaThreadCaches::current;

namespace {

/// Hooks the end of the thread that makes it.
class ThreadEnd {
public:
    ThreadEnd() = default;
    ThreadEnd( const ThreadEnd& ) = delete;
    ThreadEnd& operator=( const ThreadEnd& ) = delete;
    ~ThreadEnd() {
        DaThreadCaches& caches = DaThreadCaches::current;
        caches._isEnded = true;
        DaDepotRegistry::getInstance().takeBack( caches );
        delete[] std::exchange( caches._caches, nullptr );
        caches._size = 0;
    }

    /// The first call on a thread makes the object.
    static void hook() {
        thread_local ThreadEnd end;
        static_cast<void>( end );
    }
};

} // namespace

DaThreadCache& DaThreadCaches::makeRoom( std::uint64_t key ) {
    const std::size_t number = getNumber( key );
    if( number >= _size ) {
        const std::size_t size = std::max( number + 1, 2 * _size );
        std::unique_ptr<DaThreadCache[]> caches( new DaThreadCache[size] );
        ThreadEnd::hook();
        std::copy_n( _caches, _size, caches.get() );
        delete[] std::exchange( _caches, caches.release() );
        _size = size;
    }
    return _caches[number];
}

} // namespace Qv
