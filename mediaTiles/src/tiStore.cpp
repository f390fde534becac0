#include <mediaTiles/tiStore.h>

#include <base/locks/lkGuard.h>
#include <mediaTiles/src/tiBlock.h>

#include <utility>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

TiStore::TiStore( CtServer& server )
    : _server( server ) {
    TiHints::getInstance().refreshLimit();
}

TiStore::~TiStore() {
    const Guard guard( _lock );
    for( auto& [size, first] : _free ) {
        while( first != nullptr ) {
            first->remove();
            first = std::move( first->next );
        }
    }
}

TiCounts TiStore::getCounts() const noexcept {
    constexpr auto RELAXED = std::memory_order_relaxed;
    return { _nbEvictions.load( RELAXED ), _nbSaves.load( RELAXED ), _nbReloads.load( RELAXED ),
             _nbPrefetches.load( RELAXED ) };
}

std::unique_ptr<TiBlock> TiStore::takeBlock( unsigned int size ) {
    {
        const Guard guard( _lock );
        std::unique_ptr<TiBlock>& first = _free[size];
        if( first != nullptr ) {
            std::unique_ptr<TiBlock> next = std::move( first->next );
            return std::exchange( first, std::move( next ) );
        }
    }
    return std::make_unique<TiBlock>( _server, size );
}

void TiStore::giveBack( std::unique_ptr<TiBlock> block ) noexcept {
    const Guard guard( _lock );
    std::unique_ptr<TiBlock>& first = _free.find( block->getSize() )->second;
    block->next = std::move( first );
    first = std::move( block );
}

} // namespace Qv
