#include <base/init/inInit.h>
#include <resmgt/logger/lgGroups.h>
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

template <>
void InInit<fileLocks>::initializePackage() {
    LgGroups::MinorLevelFileLocks.create();
}

template <>
void InInit<fileLocks>::finalizePackage() {
    LgGroups::MinorLevelFileLocks.destroy();
}

namespace {

InInit<fileLocks> package;

} // namespace

} // namespace Qv
