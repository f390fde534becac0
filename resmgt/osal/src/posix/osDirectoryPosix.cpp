#include <base/failure/exSysError.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFsPlatform.h>
#include <resmgt/osal/src/posix/directoryStreamPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <unistd.h>

namespace Qv {

void OsDirectory::performRemove() const {
    const NativePath native( getPath() );
    int result = OsFsUtilsPosix::retry( [&] { return ::rmdir( native.get() ); } );
    if( result != 0 && errno == ENOTDIR && OsFsUtils::isSymLink( getPath() ) ) {
        result = OsFsUtilsPosix::retry( [&] { return ::unlink( native.get() ); } );
    }
    if( result != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsDirectory::performRemove", getPath().getChars() );
    }
}

void OsDirectory::performCreate( const OsFileTypes::Permissions& permissions ) const {
    if( OsFsPlatform::makeDirectory( getPath(), permissions ) != OsFsPlatform::Making::MADE ) {
        throw ExSysErrorWindows( QV_HERE, "OsDirectory::performCreate", getPath().getChars() );
    }
}

Vector<OsFilePath> OsDirectory::performGetChildrenPath( const OsFileFilter& filter ) const {
    constexpr const char* WHERE = "OsDirectory::performGetChildrenPath";
    DirectoryStream entries;
    if( !entries.open( getPath() ) ) {
        throw ExSysErrorWindows( QV_HERE, WHERE, getPath().getChars() );
    }
    Vector<OsFilePath> children;
    while( const char* const name = entries.next() ) {
        const OsFilePath child = DirectoryStream::toPath( name );
        if( filter.filter( getPath() + child ) ) {
            children.push_back( child );
        }
    }
    if( errno != 0 ) {
        throw ExSysErrorWindows( QV_HERE, WHERE, getPath().getChars() );
    }
    return children;
}

} // namespace Qv
