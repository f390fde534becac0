#include <resmgt/osal/osWorkingDirectory.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>
#include <resmgt/osal/src/posix/toldPathPosix.h>

#include <cerrno>
#include <unistd.h>

namespace Qv {

OsFilePath OsWorkingDirectory::get() {
    constexpr const char* WHERE = "OsWorkingDirectory::get";
    std::string buffer( 256, '\0' );
    while( ::getcwd( buffer.data(), buffer.size() ) == nullptr ) {
        if( errno != ERANGE ) {
            throw ExSysErrorWindows( QV_HERE, WHERE );
        }
        buffer.resize( 2 * buffer.size() );
    }
    return toldPath( WHERE, buffer.c_str() );
}

bool OsWorkingDirectory::performSet( const OsFilePath& path ) {
    const NativePath native( path );
    return retry( [&] { return ::chdir( native.get() ); } ) == 0;
}

} // namespace Qv
