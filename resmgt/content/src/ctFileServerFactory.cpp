#include <resmgt/content/ctServerFactory.h>

#include <resmgt/content/ctFileServer.h>
#include <resmgt/content/src/ctTileNames.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFsUtils.h>

namespace Qv {

namespace {

constexpr OsFileTypes::Permissions DIRECTORY_PERMISSIONS( 7, 7, 0 );
constexpr OsFileTypes::Permissions PROBE_PERMISSIONS( 3, 0, 0 );

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
        probe.remove();
    } catch( ... ) {
        directory.remove();
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
