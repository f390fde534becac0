#include <mediaTiles/tiStore.h>

#include <base/locks/lkGuard.h>
#include <mediaTiles/src/tiBlockPool.h>

namespace Qv {

TiStore::TiStore( CtServer& server )
    : _server( server ) {
    TiHints::getInstance().refreshLimit();
}

TiStore::~TiStore() = default;

TiCounts TiStore::getCounts() const noexcept {
    constexpr auto RELAXED = std::memory_order_relaxed;
    return { _nbEvictions.load( RELAXED ), _nbSaves.load( RELAXED ), _nbReloads.load( RELAXED ),
             _nbPrefetches.load( RELAXED ) };
}

TiBlockPool& TiStore::getPool( unsigned int size ) {
    const LkGuard<const LkLock> guard( _lock );
    std::unique_ptr<TiBlockPool>& pool = _pools[size];
    if( pool == nullptr ) {
        pool = std::make_unique<TiBlockPool>( _server, size );
    }
    return *pool;
}

} // namespace Qv
