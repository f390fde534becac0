#include <resmgt/content/src/ctSpaceBudget.h>

#include <base/locks/lkGuard.h>

namespace Qv {

bool CtSpaceBudget::take( const std::string& directory, CtSerialId id, std::uint64_t bytes ) {
    if( !isLimited() ) {
        return true;
    }
    const LkGuard<const LkLock> guard( _lock );
    if( bytes > _limit - _taken ) {
        return false;
    }
    _directories[directory][id] += bytes;
    _taken += bytes;
    return true;
}

void CtSpaceBudget::giveBack( const std::string& directory, CtSerialId id ) {
    if( !isLimited() ) {
        return;
    }
    const LkGuard<const LkLock> guard( _lock );
    const auto blocks = _directories.find( directory );
    if( blocks != _directories.end() ) {
        if( const auto block = blocks->second.extract( id ) ) {
            _taken -= block.mapped();
        }
    }
}

void CtSpaceBudget::giveAllBack( const std::string& directory ) {
    const LkGuard<const LkLock> guard( _lock );
    if( const auto blocks = _directories.extract( directory ) ) {
        for( const auto& [id, bytes] : blocks.mapped() ) {
            _taken -= bytes;
        }
    }
}

} // namespace Qv
