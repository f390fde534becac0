#include <resmgt/locks/lkNamedSema.h>
#include <resmgt/locks/lkUnnamedSema.h>

namespace Qv {

LkNamedSema::LkNamedSema( const char* systemName, unsigned int initialCount,
                          LkSemaTypes::CreateFlag flag, const char* displayName )
    : _imp( systemName, initialCount, flag, displayName ) {}

LkUnnamedSema::LkUnnamedSema( const char* displayName, unsigned int initialCount,
                              LkSemaTypes::Shared )
    : _imp( nullptr, initialCount, LkSemaTypes::CREATE_ONLY, displayName ) {}

} // namespace Qv
