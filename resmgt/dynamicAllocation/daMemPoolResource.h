#pragma once

#include <resmgt/dynamicAllocation/daMemPool.h>

#include <algorithm>
#include <memory_resource>

namespace Qv {

/// Lets the containers and pointers of `std::pmr` have their blocks from a pool.
///
/// Source:  the pool serves what its largest block holds and a cache line aligns; all else comes
///          from `upstream`.
/// Threads: as the pool's traits and `upstream` allow.
/// Owns:    nothing. Pool and `upstream` outlive the resource, and it its containers.
/// Equal:   to a resource over the same pool and upstream.
///
///     DaMemPool<DaMemPoolCachedTraits> pool( "names", 256, 65'536, 1'000 );
///     DaMemPoolResource resource( pool );
///     std::pmr::map<int, std::pmr::string> names( &resource );
template <class Traits>
class QV_TEMPLATE_API DaMemPoolResource final : public std::pmr::memory_resource {
public:
    explicit DaMemPoolResource(
        DaMemPool<Traits>& pool,
        std::pmr::memory_resource* upstream = std::pmr::get_default_resource() ) noexcept
        : _pool( pool )
        , _upstream( upstream ) {}

private:
    // A node is aligned to its size. Never 0, for which a resource has a block, and the pool none.
    static std::size_t getNodeSize( std::size_t size, std::size_t alignment ) noexcept {
        return std::max( size, alignment );
    }
    bool isPooled( std::size_t size, std::size_t alignment ) const noexcept {
        return alignment <= _pool.getMaxAlignment() &&
               getNodeSize( size, alignment ) <= _pool.getMaxSize();
    }

    void* do_allocate( std::size_t size, std::size_t alignment ) override {
        return isPooled( size, alignment ) ? _pool.alloc( getNodeSize( size, alignment ) )
                                           : _upstream->allocate( size, alignment );
    }
    void do_deallocate( void* block, std::size_t size, std::size_t alignment ) override {
        if( isPooled( size, alignment ) ) {
            _pool.free( block, getNodeSize( size, alignment ) );
        } else {
            _upstream->deallocate( block, size, alignment );
        }
    }
    bool do_is_equal( const std::pmr::memory_resource& rhs ) const noexcept override {
        const auto* const other = dynamic_cast<const DaMemPoolResource*>( &rhs );
        return other != nullptr && &other->_pool == &_pool && *other->_upstream == *_upstream;
    }

    DaMemPool<Traits>& _pool;
    std::pmr::memory_resource* const _upstream;
};

} // namespace Qv
