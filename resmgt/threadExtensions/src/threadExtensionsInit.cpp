#include <base/init/inInit.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>

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
    LgGroups::MinorLevelThreadExt.create();
}

template <>
void InInit<threadExtensions>::finalizePackage() {
    LgGroups::MinorLevelThreadExt.destroy();
}

namespace {

InInit<threadExtensions> package;

} // namespace

} // namespace Qv
