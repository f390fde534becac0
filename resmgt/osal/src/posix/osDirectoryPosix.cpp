#include <resmgt/osal/osDirectory.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <unistd.h>

namespace Qv {

void OsDirectory::performRemove() const {
    const NativePath native( getPath() );
    int result = retry( [&] { return ::rmdir( native.get() ); } );
    if( result != 0 && errno == ENOTDIR && OsFsUtils::isSymLink( getPath() ) ) {
        result = retry( [&] { return ::unlink( native.get() ); } );
    }
    if( result != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsDirectory::performRemove", getPath().getChars() );
    }
}

void OsDirectory::performCreate( const OsFileTypes::Permissions& permissions ) const {
    if( OsFolder::current().makeDirectory( getPath(), permissions ) != OsFolder::Making::MADE ) {
        throw ExSysErrorWindows( QV_HERE, "OsDirectory::performCreate", getPath().getChars() );
    }
}

} // namespace Qv
