#include <base/init/inInit.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/xml/xmlPackage.h>

namespace Qv {

template <>
InInit<QvInit::xml>::InInit()
    : InPackageInit( "xml" ) {
    registerPackage();
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::xml> package;

} // namespace

} // namespace Qv
