#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>

namespace Qv {

using namespace QvInit;

const std::type_info* pluginAPI::getType() noexcept {
    return &typeid( pluginAPI );
}

template <>
InInit<pluginAPI>::InInit()
    : InPackageInit( "pluginAPI" ) {
    registerPackage();
    dependsOn<base>();
}

namespace {

InInit<pluginAPI> package;

} // namespace

} // namespace Qv
