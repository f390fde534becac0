#include <base/init/inInit.h>
#include <resmgt/osSupport/osSupportPackage.h>

namespace Qv {

template <>
InInit<QvInit::osSupport>::InInit()
    : InPackageInit( "osSupport" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::osSupport> package;

} // namespace

} // namespace Qv
