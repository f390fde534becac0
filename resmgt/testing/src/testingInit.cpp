#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* testing::getType() noexcept {
    return &typeid( testing );
}

template <>
InInit<testing>::InInit()
    : InPackageInit( "testing" ) {
    registerPackage();
    dependsOn<locks, logger, initVars, osal, profiling, osSupport, pluginAPI, base>();
}

namespace {

InInit<testing> package;

} // namespace

} // namespace Qv
