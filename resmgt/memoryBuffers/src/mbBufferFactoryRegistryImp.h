#pragma once

#include <base/init/inSingleton.h>
#include <base/locks/lkLock.h>
#include <resmgt/memoryBuffers/mbBufferFactory.h>
#include <resmgt/memoryBuffers/mbBufferFactoryRegistry.h>

#include <map>

namespace Qv {

/// The one registry.
class MbBufferFactoryRegistryImp {
public:
    static const char* getSingletonName() { return "MbBufferFactoryRegistry"; }

    void registerFactory( MbBufferFactoryRegistry::Type factoryType,
                          OPtr<MbBufferFactory> factory );
    bool hasFactory( MbBufferFactoryRegistry::Type factoryType ) const;
    MbBufferFactory* getFactory( MbBufferFactoryRegistry::Type factoryType ) const;

private:
    using RegistryMap = std::map<MbBufferFactoryRegistry::Type, OPtr<MbBufferFactory>>;

    const LkLock _lock{ "MbBufferFactoryRegistry" };
    RegistryMap _registry QV_GUARDED_BY( _lock );
};

} // namespace Qv
