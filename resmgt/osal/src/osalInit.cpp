#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>

namespace Qv {

template <>
InInit<QvInit::osal>::InInit()
    : InPackageInit( "osal" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::osal> package;

} // namespace

} // namespace Qv
