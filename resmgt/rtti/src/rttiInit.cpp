#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* rtti::getType() noexcept {
    return &typeid( rtti );
}

template <>
InInit<rtti>::InInit()
    : InPackageInit( "rtti" ) {
    registerPackage();
    dependsOn<locks, base>();
}

namespace {

InInit<rtti> package;

} // namespace

} // namespace Qv
