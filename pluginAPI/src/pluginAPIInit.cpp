#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <pluginAPI/src/piPackageThread.h>

namespace Qv {

template <>
InInit<QvInit::pluginAPI>::InInit()
    : InPackageInit( "pluginAPI" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::pluginAPI>::initializePackage() {
    PiPackageThread::setCurrent();
}

template <>
void InInit<QvInit::pluginAPI>::finalizePackage() {
    PiPackageThread::reset();
}

namespace {

InInit<QvInit::pluginAPI> package;

} // namespace

} // namespace Qv
