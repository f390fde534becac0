#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* observers::getType() noexcept {
    return &typeid( observers );
}

template <>
InInit<observers>::InInit()
    : InPackageInit( "observers" ) {
    registerPackage();
    dependsOn<testing, profiling, osSupport, osal, initVars, messages, logger, threads, locks,
              base>();
}

namespace {

InInit<observers> package;

} // namespace

} // namespace Qv
