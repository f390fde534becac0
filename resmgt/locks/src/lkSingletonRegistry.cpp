#include <resmgt/locks/lkSingletonRegistry.h>

#include <base/failure/qvHere.h>
#include <base/locks/lkGuard.h>
#include <base/ownership/oPtr.h>
#include <resmgt/locks/lkEx.h>
#include <resmgt/locks/src/lkSingletonRegistryImp.h>

#include <atomic>
#include <cstdio>

namespace Qv {

namespace {

// Written alone, as the package starts and stops; singletons built by threads that outlive the
// stop read the flag, and nothing else follows from it: relaxed.
constinit std::atomic<bool> _finished{ false };
// Never cleared: after `fini` nobody looks at it.
LkSingletonRegistryImp* _registry = nullptr;

} // namespace

LkSingletonRegistryImp::LkSingletonRegistryImp( bool trace )
    : _lock( "LkSingletonRegistry" )
    , _trace( trace ) {}

void LkSingletonRegistryImp::add( const std::type_info& type ) {
    const LkGuard<const LkLock> guard( _lock );
    if( _trace ) {
        std::fprintf( stderr, "LkSingletonRegistryImp: adding %s\n", type.name() );
    }
    if( !_types.insert( &type ).second ) {
        if( _trace ) {
            std::fprintf( stderr, "Duplicate singleton!\n" );
        }
        throw LkEx::ExDuplicateSingleton( QV_HERE, type.name() );
    }
}

void LkSingletonRegistry::init() {
    if( _registry == nullptr ) {
        _registry = OPtr<LkSingletonRegistryImp>( new LkSingletonRegistryImp ).release();
    }
}

void LkSingletonRegistry::fini() {
    if( !_finished.exchange( true, std::memory_order_relaxed ) ) {
        OPtr<LkSingletonRegistryImp>( _registry ).reset();
    }
}

void LkSingletonRegistry::add( const std::type_info& type ) {
    if( _finished.load( std::memory_order_relaxed ) ) {
        return;
    }
    init();
    _registry->add( type );
}

} // namespace Qv
