#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inVariable.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/memoryBuffers/src/mbBufferFactoryRegistryImp.h>
#include <resmgt/memoryBuffers/src/mbSettings.h>
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
    LgGroups::MinorLevelMemoryBuffers.create( [] {
        InSingleton<MbBufferFactoryRegistryImp>::initialize(
            OPtr<MbBufferFactoryRegistryImp>( new MbBufferFactoryRegistryImp ) );
    } );
}

template <>
void InInit<memoryBuffers>::finalizePackage() {
    LgGroups::MinorLevelMemoryBuffers.destroy(
        [] { InSingleton<MbBufferFactoryRegistryImp>::finalize(); } );
}

namespace {

InInit<memoryBuffers> package;

const InContextAlias<InInitEnv, 0>
    stallReportEnv( "QV_BUFFER_STALL_REPORT",
                    "Seconds after which a wait for memory is reported, 0 for never." );
const InContextAlias<InInitDef, 0> stallReportDefault( "10", "Default time of a report." );
const InVariable<int> stallReport( "ombra::memoryBuffers::stallReport", package, stallReportEnv,
                                   stallReportDefault );

} // namespace

int MbSettings::getStallReportSeconds() noexcept {
    return stallReport.getValue();
}

} // namespace Qv
