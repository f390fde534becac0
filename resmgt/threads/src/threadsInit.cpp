#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* threads::getType() noexcept {
    return &typeid( threads );
}

template <>
InInit<threads>::InInit()
    : InPackageInit( "threads" ) {
    registerPackage();
    dependsOn<testing, profiling, osSupport, osal, messages, logger, literals, locks, initVars,
              base>();
}

namespace {

InInit<threads> package;

} // namespace

} // namespace Qv
