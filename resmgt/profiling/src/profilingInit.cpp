#include <base/init/inInit.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/profiling/profilingPackage.h>

namespace Qv {

template <>
InInit<QvInit::profiling>::InInit()
    : InPackageInit( "profiling" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::profiling> package;

} // namespace

} // namespace Qv
