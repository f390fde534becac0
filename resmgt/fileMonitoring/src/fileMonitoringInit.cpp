#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* fileMonitoring::getType() noexcept {
    return &typeid( fileMonitoring );
}

template <>
InInit<fileMonitoring>::InInit()
    : InPackageInit( "fileMonitoring" ) {
    registerPackage();
    dependsOn<threads, literals, locks, logger, osal, profiling, osSupport, pluginAPI, base>();
}

template <>
void InInit<fileMonitoring>::initializePackage() {
    LgGroups::MinorLevelFileMonitoring.create();
}

template <>
void InInit<fileMonitoring>::finalizePackage() {
    LgGroups::MinorLevelFileMonitoring.destroy();
}

namespace {

InInit<fileMonitoring> package;

} // namespace

} // namespace Qv
