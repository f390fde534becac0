#include <resmgt/dynamicAllocation/src/daDepotRegistry.h>

#include <base/locks/lkGuard.h>
#include <resmgt/dynamicAllocation/src/daDepot.h>
#include <resmgt/dynamicAllocation/src/daThreadCaches.h>

#include <algorithm>
#include <new>

namespace Qv {

DaDepotRegistry& DaDepotRegistry::getInstance() {
    static DaDepotRegistry* const instance = new DaDepotRegistry;
    return *instance;
}

std::uint64_t DaDepotRegistry::add( DaDepot& depot ) {
    const LkGuard<const LkLock> guard( _lock );
    const auto isFree = []( const Entry& entry ) { return entry._key == 0; };
    auto place = std::find_if( _depots.begin(), _depots.end(), isFree );
    const auto number = static_cast<std::uint64_t>( place - _depots.begin() );
    const std::uint64_t key = ( _nbMade + 1 ) << 24 | number;
    if( DaThreadCaches::getNumber( key ) != number ) {
        throw std::bad_alloc();
    }
    if( place == _depots.end() ) {
        place = _depots.insert( place, Entry() );
    }
    ++_nbMade;
    *place = { key, &depot };
    return key;
}

void DaDepotRegistry::remove( const DaDepot& depot ) noexcept {
    const LkGuard<const LkLock> guard( _lock );
    _depots[DaThreadCaches::getNumber( depot.getKey() )] = Entry();
}

void DaDepotRegistry::takeBack( const DaThreadCaches& caches ) noexcept {
    const LkGuard<const LkLock> guard( _lock );
    const std::size_t nbDepots = std::min( caches._size, _depots.size() );
    for( std::size_t number = 0; number < nbDepots; ++number ) {
        const Entry& entry = _depots[number];
        if( entry._key != 0 && entry._key == caches._caches[number]._key ) {
            entry._depot->takeBack( caches._caches[number] );
        }
    }
}

} // namespace Qv
