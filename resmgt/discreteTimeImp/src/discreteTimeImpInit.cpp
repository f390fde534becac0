#include <base/init/inInit.h>
#include <base/values/dtRefTimeFactory.h>
#include <resmgt/discreteTimeImp/discreteTimeImpPackage.h>
#include <resmgt/discreteTimeImp/src/dtRefClockSourceHwCounter.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>

namespace Qv {

template <>
InInit<QvInit::discreteTimeImp>::InInit()
    : InPackageInit( "discreteTimeImp" ) {
    registerPackage();
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::discreteTimeImp>::initializePackage() {
    DtRefTimeFactory::initialize( OPtr<DtRefClockSource>( new DtRefClockSourceHwCounter ) );
}

namespace {

InInit<QvInit::discreteTimeImp> package;

} // namespace

} // namespace Qv
