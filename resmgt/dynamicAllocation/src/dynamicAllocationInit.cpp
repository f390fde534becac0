#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* dynamicAllocation::getType() noexcept {
    return &typeid( dynamicAllocation );
}

template <>
InInit<dynamicAllocation>::InInit()
    : InPackageInit( "dynamicAllocation" ) {
    registerPackage();
    dependsOn<locks, testing, messages, logger, initVars, osal, profiling, osSupport, base>();
}

namespace {

InInit<dynamicAllocation> package;

} // namespace

} // namespace Qv
