#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* fileLocks::getType() noexcept {
    return &typeid( fileLocks );
}

template <>
InInit<fileLocks>::InInit()
    : InPackageInit( "fileLocks" ) {
    registerPackage();
    dependsOn<threads, threadExtensions, locks, xml, logger, literals, osal, profiling, osSupport,
              base>();
}

namespace {

InInit<fileLocks> package;

} // namespace

} // namespace Qv
