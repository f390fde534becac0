#include <base/init/inInit.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* dynamicAllocation::getType() noexcept {
    return &typeid( dynamicAllocation );
}

template <>
InInit<dynamicAllocation>::InInit()
    : InPackageInit( "dynamicAllocation" ) {
    registerPackage();
    dependsOn<locks, testing, messages, logger, initVars, osal, profiling, osSupport, base>();
}

template <>
void InInit<dynamicAllocation>::initializePackage() {
    LgGroups::MinorLevelAllocation.create();
}

template <>
void InInit<dynamicAllocation>::finalizePackage() {
    LgGroups::MinorLevelAllocation.destroy();
}

namespace {

InInit<dynamicAllocation> package;

} // namespace

} // namespace Qv
