#include <resmgt/content/src/ctSpaceBudget.h>

#include <base/locks/lkGuard.h>

namespace Qv {

bool CtSpaceBudget::take( CtSerialId id, std::uint64_t bytes ) {
    if( !isLimited() ) {
        return true;
    }
    const LkGuard<const LkLock> guard( _lock );
    if( bytes > _limit - _taken ) {
        return false;
    }
    _blocks[id] += bytes;
    _taken += bytes;
    return true;
}

void CtSpaceBudget::giveBack( CtSerialId id ) {
    if( !isLimited() ) {
        return;
    }
    const LkGuard<const LkLock> guard( _lock );
    const auto block = _blocks.find( id );
    if( block != _blocks.end() ) {
        _taken -= block->second;
        _blocks.erase( block );
    }
}

void CtSpaceBudget::giveAllBack() {
    const LkGuard<const LkLock> guard( _lock );
    _blocks.clear();
    _taken = 0;
}

} // namespace Qv
