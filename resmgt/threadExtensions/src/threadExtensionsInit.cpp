#include <base/init/inInit.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>
#include <resmgt/threadExtensions/src/mtAlarmManagerImp.h>

namespace Qv {

using namespace QvInit;

const std::type_info* threadExtensions::getType() noexcept {
    return &typeid( threadExtensions );
}

template <>
InInit<threadExtensions>::InInit()
    : InPackageInit( "threadExtensions" ) {
    registerPackage();
    dependsOn<messages, osal, osSupport, testing, initVars, logger, profiling, threads, literals,
              locks, base>();
}

template <>
void InInit<threadExtensions>::initializePackage() {
    LgGroups::MinorLevelThreadExt.create( [] { MtAlarmManagerImp::allowStart(); } );
}

template <>
void InInit<threadExtensions>::finalizePackage() {
    LgGroups::MinorLevelThreadExt.destroy( [] { MtAlarmManagerImp::stop(); } );
}

namespace {

InInit<threadExtensions> package;

} // namespace

} // namespace Qv
