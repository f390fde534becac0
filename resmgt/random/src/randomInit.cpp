#include <base/init/inInit.h>
#include <resmgt/random/randomPackage.h>

namespace Qv {

template <>
InInit<QvInit::random>::InInit()
    : InPackageInit( "random" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::random> package;

} // namespace

} // namespace Qv
