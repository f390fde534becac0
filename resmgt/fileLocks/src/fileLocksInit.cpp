#include <base/init/inInit.h>
#include <resmgt/fileLocks/fileLocksPackage.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>
#include <resmgt/threadExtensions/threadExtensionsPackage.h>
#include <resmgt/threads/threadsPackage.h>
#include <resmgt/xml/xmlPackage.h>

namespace Qv {

template <>
InInit<QvInit::fileLocks>::InInit()
    : InPackageInit( "fileLocks" ) {
    registerPackage();
    addDependency( InInit<QvInit::threads>::getType() );
    addDependency( InInit<QvInit::threadExtensions>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::xml>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::fileLocks> package;

} // namespace

} // namespace Qv
