#pragma once

#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/initVars/envVar.h>

#include <initializer_list>

namespace Qv {

/// Reads variables of this package anew, for a server that is being made, and answers what `make`
/// makes of them. Each set of variables by one thread at a time, since a refresh allows no other.
template <class Make>
auto readVariables( std::initializer_list<EnvVar*> variables, const Make& make ) {
    static const LkLock lock( "ct-variables" );
    const LkGuard<const LkLock> guard( lock );
    for( EnvVar* const variable : variables ) {
        variable->refresh();
    }
    return make();
}

} // namespace Qv
