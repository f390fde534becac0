#include <base/init/inInit.h>
#include <resmgt/usageMetrics/usageMetricsPackage.h>

namespace Qv {

template <>
InInit<QvInit::usageMetrics>::InInit()
    : InPackageInit( "usageMetrics" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::usageMetrics> package;

} // namespace

} // namespace Qv
