#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* tooltips::getType() noexcept {
    return &typeid( tooltips );
}

template <>
InInit<tooltips>::InInit()
    : InPackageInit( "tooltips" ) {
    registerPackage();
    dependsOn<literals, osSupport, osal, logger, initVars, initConfig, pluginAPI, base>();
}

namespace {

InInit<tooltips> package;

} // namespace

} // namespace Qv
