#include <base/init/inInit.h>
#include <resmgt/memoryBuffers/src/mbBufferFactoryRegistryImp.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* memoryBuffers::getType() noexcept {
    return &typeid( memoryBuffers );
}

template <>
InInit<memoryBuffers>::InInit()
    : InPackageInit( "memoryBuffers" ) {
    registerPackage();
    dependsOn<random, logger, dynamicAllocation, literals, locks, initVars, base>();
}

template <>
void InInit<memoryBuffers>::initializePackage() {
    InSingleton<MbBufferFactoryRegistryImp>::initialize(
        OPtr<MbBufferFactoryRegistryImp>( new MbBufferFactoryRegistryImp ) );
}

template <>
void InInit<memoryBuffers>::finalizePackage() {
    InSingleton<MbBufferFactoryRegistryImp>::finalize();
}

namespace {

InInit<memoryBuffers> package;

} // namespace

} // namespace Qv
