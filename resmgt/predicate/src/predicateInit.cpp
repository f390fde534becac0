#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* predicate::getType() noexcept {
    return &typeid( predicate );
}

template <>
InInit<predicate>::InInit()
    : InPackageInit( "predicate" ) {
    registerPackage();
    dependsOn<locks, base>();
}

namespace {

InInit<predicate> package;

} // namespace

} // namespace Qv
