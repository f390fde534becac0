#include <resmgt/osal/osWorkingDirectory.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFileEx.h>

#include <cerrno>

namespace Qv {

void OsWorkingDirectory::set( const OsFilePath& path ) {
    constexpr const char* WHERE = "OsWorkingDirectory::set";
    if( !performSet( path ) ) {
        if( errno == ENOENT || errno == ENOTDIR ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, WHERE, path );
        }
        throw ExSysErrorWindows( QV_HERE, WHERE, path.getChars() );
    }
}

OsWorkingDirectory::Guard::Guard()
    : _formerDirectory( get() ) {}

OsWorkingDirectory::Guard::Guard( const OsFilePath& path )
    : _formerDirectory( get() ) {
    set( path );
}

OsWorkingDirectory::Guard::~Guard() {
    try {
        set( _formerDirectory );
    } catch( ... ) {
        Trace::printCurrentException( "OsWorkingDirectory::Guard", QV_HERE );
    }
}

} // namespace Qv
