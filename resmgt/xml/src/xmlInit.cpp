#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* xml::getType() noexcept {
    return &typeid( xml );
}

template <>
InInit<xml>::InInit()
    : InPackageInit( "xml" ) {
    registerPackage();
    dependsOn<osal, literals, locks, base>();
}

namespace {

InInit<xml> package;

} // namespace

} // namespace Qv
