#include <base/init/inInit.h>
#include <mediaTiles/mediaTilesPackage.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* mediaTiles::getType() noexcept {
    return &typeid( mediaTiles );
}

template <>
InInit<mediaTiles>::InInit()
    : InPackageInit( "mediaTiles" ) {
    registerPackage();
    dependsOn<content, memoryBuffers, literals, logger, locks, base>();
}

namespace {

InInit<mediaTiles> package;

} // namespace

} // namespace Qv
