#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>

namespace Qv {

template <>
InInit<QvInit::pluginAPI>::InInit()
    : InPackageInit( "pluginAPI" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::pluginAPI> package;

} // namespace

} // namespace Qv
