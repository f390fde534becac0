#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* random::getType() noexcept {
    return &typeid( random );
}

template <>
InInit<random>::InInit()
    : InPackageInit( "random" ) {
    registerPackage();
    dependsOn<base>();
}

namespace {

InInit<random> package;

} // namespace

} // namespace Qv
