#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* logger::getType() noexcept {
    return &typeid( logger );
}

template <>
InInit<logger>::InInit()
    : InPackageInit( "logger" ) {
    registerPackage();
    dependsOn<osSupport, initVars, initConfig, osal, profiling, base>();
}

namespace {

InInit<logger> package;

} // namespace

} // namespace Qv
