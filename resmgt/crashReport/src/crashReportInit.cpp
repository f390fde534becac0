#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* crashReport::getType() noexcept {
    return &typeid( crashReport );
}

template <>
InInit<crashReport>::InInit()
    : InPackageInit( "crashReport" ) {
    registerPackage();
    dependsOn<base>();
}

namespace {

InInit<crashReport> package;

} // namespace

} // namespace Qv
