#include <resmgt/osal/src/osFolder.h>

namespace Qv {

OsFilePath OsFolder::toName( const std::string& name ) {
    // Behind "./" a name such as "c:" is no drive.
    return OsFilePath( "./" + name );
}

OsPlace OsPlace::of( const OsFilePath& path ) {
    // A server's root can name a file of this machine, and has nothing above it.
    if( path.getNbComponents() < 2 ) {
        return { OsFolder::current(), path };
    }
    OsFilePath name = path.getBaseName( OsFilePath::WITH_EXTENSION );
    return { OsFolder::current().open( path.getDirectoryName(), OsFolder::Links::FOLLOW ),
             std::move( name ) };
}

} // namespace Qv
