#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* usageMetrics::getType() noexcept {
    return &typeid( usageMetrics );
}

template <>
InInit<usageMetrics>::InInit()
    : InPackageInit( "usageMetrics" ) {
    registerPackage();
    dependsOn<base>();
}

namespace {

InInit<usageMetrics> package;

} // namespace

} // namespace Qv
