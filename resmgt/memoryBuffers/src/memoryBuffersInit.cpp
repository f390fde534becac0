#include <base/init/inInit.h>
#include <resmgt/dynamicAllocation/dynamicAllocationPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/memoryBuffers/memoryBuffersPackage.h>
#include <resmgt/memoryBuffers/src/mbBufferFactoryRegistryImp.h>
#include <resmgt/random/randomPackage.h>

namespace Qv {

template <>
InInit<QvInit::memoryBuffers>::InInit()
    : InPackageInit( "memoryBuffers" ) {
    registerPackage();
    addDependency( InInit<QvInit::random>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::dynamicAllocation>::getType() );
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::memoryBuffers>::initializePackage() {
    InSingleton<MbBufferFactoryRegistryImp>::initialize(
        OPtr<MbBufferFactoryRegistryImp>( new MbBufferFactoryRegistryImp ) );
}

template <>
void InInit<QvInit::memoryBuffers>::finalizePackage() {
    InSingleton<MbBufferFactoryRegistryImp>::finalize();
}

namespace {

InInit<QvInit::memoryBuffers> package;

} // namespace

} // namespace Qv
