#include <base/init/inInit.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/predicate/predicatePackage.h>

namespace Qv {

template <>
InInit<QvInit::predicate>::InInit()
    : InPackageInit( "predicate" ) {
    registerPackage();
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::predicate> package;

} // namespace

} // namespace Qv
