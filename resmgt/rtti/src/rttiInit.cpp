#include <base/init/inInit.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/rtti/rttiPackage.h>

namespace Qv {

template <>
InInit<QvInit::rtti>::InInit()
    : InPackageInit( "rtti" ) {
    registerPackage();
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::rtti> package;

} // namespace

} // namespace Qv
