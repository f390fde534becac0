#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/osSupport/osMemoryArch.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>

namespace Qv {

template <>
InInit<QvInit::osal>::InInit()
    : InPackageInit( "osal" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

void makeTempDirectory() {
    OsDirectory tempDir( OsFilePath::getTempDir() );
    if( !tempDir.exists() ) {
        try {
            tempDir.create( OsFileTypes::Permissions( 7, 7, 7 ) );
        } catch( const ExSysError& ) {
            // Another process that starts now may have been quicker.
            if( !tempDir.exists() ) {
                throw;
            }
        }
    }
    QV_ASSERT( tempDir.exists() );
}

} // namespace

template <>
void InInit<QvInit::osal>::initializePackage() {
    makeTempDirectory();
    OsMemoryArch::getInstance();
}

namespace {

InInit<QvInit::osal> package;

} // namespace

} // namespace Qv
