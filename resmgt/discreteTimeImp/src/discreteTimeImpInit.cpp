#include <base/init/inInit.h>
#include <base/values/dtRefTimeFactory.h>
#include <resmgt/discreteTimeImp/src/dtRefClockSourceHwCounter.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* discreteTimeImp::getType() noexcept {
    return &typeid( discreteTimeImp );
}

template <>
InInit<discreteTimeImp>::InInit()
    : InPackageInit( "discreteTimeImp" ) {
    registerPackage();
    dependsOn<osal, profiling, base>();
}

template <>
void InInit<discreteTimeImp>::initializePackage() {
    DtRefTimeFactory::initialize( OPtr<DtRefClockSource>( new DtRefClockSourceHwCounter ) );
}

namespace {

InInit<discreteTimeImp> package;

} // namespace

} // namespace Qv
