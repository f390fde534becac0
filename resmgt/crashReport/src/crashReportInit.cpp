#include <base/init/inInit.h>
#include <resmgt/crashReport/crashReportPackage.h>

namespace Qv {

template <>
InInit<QvInit::crashReport>::InInit()
    : InPackageInit( "crashReport" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::crashReport> package;

} // namespace

} // namespace Qv
