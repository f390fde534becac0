#include <base/text/wideStringUtil.h>
#include <resmgt/osal/src/osFsPlatform.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/directoryStreamPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>
#include <resmgt/osal/src/posix/permissionsPosix.h>
#include <resmgt/osal/src/wildcardMatch.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv::OsFsPlatform {

namespace {

Making toMaking( int error ) {
    switch( error ) {
    case EEXIST:
        return Making::EXISTS;
    case ENOENT:
        return Making::PARENT_MISSING;
    case EACCES:
        return Making::DENIED;
    default:
        return Making::FAILED;
    }
}

} // namespace

Making makeDirectory( const OsFilePath& path, const OsFileTypes::Permissions& permissions ) {
    const NativePath native( path );
    const int result = OsFsUtilsPosix::retry(
        [&] { return ::mkdir( native.get(), directoryMode( permissions ) ); } );
    return result == 0 ? Making::MADE : toMaking( errno );
}

Making makeFile( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                 bool exclusive ) {
    const NativePath native( path );
    const unsigned int mode = fileMode( permissions );
    // Exclusive at first in any case: only a file that was made here may be removed again.
    int descriptor = Descriptor( native.get(), O_RDWR | O_CREAT | O_EXCL, mode ).release();
    const bool isNew = descriptor != -1;
    if( !isNew && !exclusive && errno == EEXIST ) {
        descriptor = openOrMake( native.get(), O_RDWR | O_TRUNC, mode ).release();
    }
    if( descriptor == -1 ) {
        return toMaking( errno );
    }
    // A signal doesn't keep the descriptor open.
    if( ::close( descriptor ) != 0 && errno != EINTR ) {
        const int error = errno;
        if( isNew ) {
            ::unlink( native.get() );
        }
        errno = error;
        return Making::FAILED;
    }
    return Making::MADE;
}

bool entryExists( const OsFilePath& path ) {
    struct statx status;
    return OsFsUtilsPosix::getStatus( AT_FDCWD, NativePath( path ).get(), AT_SYMLINK_NOFOLLOW,
                                      STATX_TYPE, status );
}

bool hasMatch( const OsFilePath& path ) {
    if( path.isEmpty() || path.isRoot() ) {
        return false;
    }
    const std::string& name = path.getComponent( path.getNbComponents() - 1 );
    if( name.find_first_of( "*?" ) == std::string::npos ) {
        return false;
    }
    const std::wstring pattern = WideStringUtil::widen( name );
    DirectoryStream entries;
    if( entries.open( path.getDirectoryName() ) ) {
        while( const char* const entry = entries.next() ) {
            if( wildcardMatch( WideStringUtil::widen( entry ), pattern ) ) {
                return true;
            }
        }
    }
    return false;
}

bool isSpecial( const OsFilePath& path ) {
    struct statx status;
    return OsFsUtilsPosix::getStatus( path, STATX_TYPE, status ) && !S_ISDIR( status.stx_mode ) &&
           !S_ISREG( status.stx_mode );
}

std::optional<FileId> getFileId( const OsFilePath& path ) {
    struct statx status;
    if( !OsFsUtilsPosix::getStatus( path, STATX_INO, status ) ) {
        return std::nullopt;
    }
    return FileId{ std::uint64_t{ status.stx_dev_major } << 32U | status.stx_dev_minor,
                   status.stx_ino };
}

OsFilePath getPathWithoutLinks( const OsFilePath& path ) {
    const NativePath native( path );
    const std::unique_ptr<char, void ( * )( void* )> text( ::realpath( native.get(), nullptr ),
                                                           std::free );
    const OsFilePath found( text.get() );
    return text == nullptr || found.toString() != text.get() ? OsFilePath() : found;
}

} // namespace Qv::OsFsPlatform
