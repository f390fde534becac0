#include <resmgt/memoryBuffers/mbBufferFactoryRegistry.h>

#include <base/failure/assertions.h>
#include <base/init/inSingleton.imp>
#include <resmgt/memoryBuffers/src/mbBufferFactoryRegistryImp.h>

namespace Qv {

template class InSingleton<MbBufferFactoryRegistryImp>;

using Registry = InSingleton<MbBufferFactoryRegistryImp>;

void MbBufferFactoryRegistryImp::registerFactory( MbBufferFactoryRegistry::Type factoryType,
                                                  OPtr<MbBufferFactory> factory ) {
    const LkGuard<const LkLock> guard( _lock );
    QV_ASSERT_TEXT( _registry.try_emplace( factoryType, factory ).second,
                    "_registry.insert( RegistryMap::value_type( factoryType, factory.release( ) ) "
                    ").second" );
}

bool MbBufferFactoryRegistryImp::hasFactory( MbBufferFactoryRegistry::Type factoryType ) const {
    const LkGuard<const LkLock> guard( _lock );
    return _registry.contains( factoryType );
}

MbBufferFactory*
MbBufferFactoryRegistryImp::getFactory( MbBufferFactoryRegistry::Type factoryType ) const {
    const LkGuard<const LkLock> guard( _lock );
    const auto it = _registry.find( factoryType );
    QV_ASSERT( it != _registry.end() );
    return it->second.get();
}

void MbBufferFactoryRegistry::registerFactory( Type factoryType, OPtr<MbBufferFactory> factory ) {
    Registry::getInstance().registerFactory( factoryType, factory );
}

bool MbBufferFactoryRegistry::hasFactory( Type factoryType ) {
    return Registry::getInstance().hasFactory( factoryType );
}

MbBufferFactory* MbBufferFactoryRegistry::getFactory( Type factoryType ) {
    return Registry::getInstance().getFactory( factoryType );
}

} // namespace Qv
