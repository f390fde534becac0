#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* osSupport::getType() noexcept {
    return &typeid( osSupport );
}

template <>
InInit<osSupport>::InInit()
    : InPackageInit( "osSupport" ) {
    registerPackage();
    dependsOn<base>();
}

namespace {

InInit<osSupport> package;

} // namespace

} // namespace Qv
