#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/osSupport/osMemoryArch.h>
#include <resmgt/osal/src/osTempDirStart.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* osal::getType() noexcept {
    return &typeid( osal );
}

template <>
InInit<osal>::InInit()
    : InPackageInit( "osal" ) {
    registerPackage();
    dependsOn<osSupport, profiling, pluginAPI, base>();
}

template <>
void InInit<osal>::initializePackage() {
    startTempDir();
    OsMemoryArch::getInstance();
}

namespace {

InInit<osal> package;

} // namespace

} // namespace Qv
