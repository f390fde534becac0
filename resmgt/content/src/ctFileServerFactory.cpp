#include <resmgt/content/ctServerFactory.h>

#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <resmgt/content/ctFileServer.h>
#include <resmgt/content/src/ctTileNames.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFsUtils.h>

namespace Qv {

namespace {

constexpr OsFileTypes::Permissions DIRECTORY_PERMISSIONS( 7, 7, 0 );
constexpr OsFileTypes::Permissions PROBE_PERMISSIONS( 3, 0, 0 );

/// A process that clears or prunes may be quicker.
void removeIfThere( OsFile& file ) {
    try {
        file.remove();
    } catch( const ExBase& ) {
        if( file.isFile() ) {
            throw;
        }
    }
}

/// Others may use it already.
void removeIfEmpty( OsDirectory& directory ) noexcept {
    try {
        directory.remove();
    } catch( ... ) {
        Trace::printCurrentException( "CtFileServerFactory::canHandle", QV_HERE );
    }
}

/// Makes a directory in which files can be made, or none.
void makeDirectory( const OsFilePath& path ) {
    OsDirectory directory( path );
    try {
        directory.create( DIRECTORY_PERMISSIONS );
    } catch( ... ) {
        // Another process may have been quicker.
        if( OsFsUtils::isDirectory( path ) ) {
            return;
        }
        throw;
    }
    try {
        OsFile probe( path + OsFilePath( CtTileNames::PROBE ) );
        probe.create( PROBE_PERMISSIONS, true );
        removeIfThere( probe );
    } catch( ... ) {
        removeIfEmpty( directory );
        throw;
    }
}

/// Takes an absolute path to a directory, which it makes where there is nothing. What prevents that
/// is raised with the path.
class CtFileServerFactory final : public CtServerFactory {
public:
    bool canHandle( const LiString& configuration ) override {
        const OsFilePath path( configuration );
        if( !path.isAbsolute() || OsFsUtils::isFile( path ) ) {
            return false;
        }
        if( !OsFsUtils::isDirectory( path ) ) {
            makeDirectory( path );
        }
        return true;
    }
    CtServer* create( const LiString& configuration ) override {
        return new CtFileServer( configuration );
    }
} factory;

} // namespace

} // namespace Qv
