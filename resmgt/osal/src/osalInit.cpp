#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/osSupport/osMemoryArch.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* osal::getType() noexcept {
    return &typeid( osal );
}

template <>
InInit<osal>::InInit()
    : InPackageInit( "osal" ) {
    registerPackage();
    dependsOn<osSupport, profiling, pluginAPI, base>();
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
void InInit<osal>::initializePackage() {
    makeTempDirectory();
    OsMemoryArch::getInstance();
}

namespace {

InInit<osal> package;

} // namespace

} // namespace Qv
