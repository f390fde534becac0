#include <resmgt/osal/osFile.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/src/osUnbufferedInfo.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>
#include <resmgt/osal/src/posix/permissionsPosix.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr int READ = OsFileTypes::Permissions::READ;
constexpr int WRITE = OsFileTypes::Permissions::WRITE;

/// Asks what `path` leads to, or raises.
struct statx getStatus( const OsFilePath& path, unsigned int fields, const char* where ) {
    struct statx status;
    if( !OsFsUtilsPosix::getStatus( path, fields, status ) ) {
        throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
    }
    return status;
}

/// The file's mode. What lies behind a directory that may not be searched counts as a plain file.
unsigned int getMode( const OsFilePath& path ) {
    struct statx status;
    if( OsFsUtilsPosix::getStatus( path, STATX_TYPE, status ) ) {
        return status.stx_mode;
    }
    if( errno == EACCES ) {
        return S_IFREG;
    }
    if( OsFsUtilsPosix::isExhaustion( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::performGetType", path.getChars() );
    }
    throw OsFileEx::ExInvalidPath( QV_HERE, "OsFile::performGetType", path );
}

bool checkAnswer( bool isGranted, const OsFilePath& path ) {
    if( !isGranted && OsFsUtilsPosix::isExhaustion( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::performGetAccess", path.getChars() );
    }
    return isGranted;
}

bool canOpen( const OsFilePath& path, int how ) {
    const NativePath native( path );
    // Should it be a pipe by now, opening it mustn't wait.
    return checkAnswer( Descriptor( native.get(), how | O_NONBLOCK ).isOpen(), path );
}

/// For what opening would do more to than to open it, and for directories, which can't be opened
/// for writing.
bool isGranted( const OsFilePath& path, int how ) {
    const NativePath native( path );
    const auto ask = [&] { return ::faccessat( AT_FDCWD, native.get(), how, AT_EACCESS ); };
    return checkAnswer( retry( ask ) == 0, path );
}

} // namespace

APtrRet<char> OsFile::performGetOwner() const {
    const struct statx status =
        getStatus( _path, STATX_UID, "OsFsUtilsWindows::win32FileOwnerInfo" );
    const std::string& name = OsFsUtilsPosix::getAccountName( status.stx_uid, _path );
    APtr<char> owner( new char[name.size() + 1] );
    std::memcpy( owner.get(), name.c_str(), name.size() + 1 );
    return owner;
}

unsigned long long OsFile::performGetSize() const {
    return getStatus( _path, STATX_SIZE, "OsFile::performGetSize" ).stx_size;
}

OsDateTypes::DateRep OsFile::performGetLastModificationTime() const {
    return OsFsUtilsPosix::getModificationTime(
        getStatus( _path, STATX_MTIME, "OsFile::performGetLastModificationTime" ) );
}

OsDateTypes::DateRep OsFile::performGetCreationTime() const {
    return OsFsUtilsPosix::getCreationTime( getStatus(
        _path, STATX_MTIME | STATX_CTIME | STATX_BTIME, "OsFile::performGetCreationTime" ) );
}

OsFileTypes::UnbufferedInfo OsFile::performGetUnbufferedInfo() const {
    const auto info = Qv::getUnbufferedInfo( _path );
    QV_SYS_ASSERT( info.has_value(), errno );
    return *info;
}

OsFileTypes::ElementType OsFile::performGetType() const {
    return S_ISDIR( getMode( _path ) ) ? OsFileTypes::DIRECTORY : OsFileTypes::PLAIN;
}

int OsFile::performGetAccess( int flags ) const {
    const unsigned int mode = getMode( _path );
    int access = 0;
    if( ( flags & READ ) != 0 &&
        ( S_ISREG( mode ) ? canOpen( _path, O_RDONLY ) : isGranted( _path, R_OK ) ) ) {
        access |= READ;
    }
    const int change = S_ISDIR( mode ) ? W_OK | X_OK : W_OK;
    if( ( flags & WRITE ) != 0 &&
        ( S_ISREG( mode ) ? canOpen( _path, O_WRONLY ) : isGranted( _path, change ) ) ) {
        access |= WRITE;
    }
    return access;
}

OsFileTypes::Handle OsFile::performOpen( int flags ) const {
    const bool writes = ( flags & WRITE ) != 0;
    const int how = !writes ? O_RDONLY : ( flags & READ ) != 0 ? O_RDWR : O_WRONLY;
    const NativePath native( _path );
    Descriptor file( native.get(), how );
    if( !file.isOpen() ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::performOpen", _path.getChars() );
    }
    return file.release();
}

void OsFile::performClose( OsFileTypes::Handle handle ) const {
    const char* const path = _path.getChars();
    // A signal doesn't keep the descriptor open.
    if( ::close( static_cast<int>( handle ) ) != 0 && errno != EINTR ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::close", path );
    }
}

void OsFile::performRemove() const {
    const NativePath native( _path );
    if( retry( [&] { return ::unlink( native.get() ); } ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::performRemove", _path.getChars() );
    }
}

void OsFile::performRenameTo( const OsFilePath& target ) const {
    const NativePath from( _path );
    const NativePath to( target );
    if( retry( [&] { return ::rename( from.get(), to.get() ); } ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::performRenameTo", _path.getChars() );
    }
}

OsFileTypes::Permissions OsFile::performGetPermissions() const {
    return permissionsOf(
        getStatus( _path, STATX_MODE, "OsFile::performGetPermissions" ).stx_mode );
}

OsFileInfo OsFile::performGetInfo() const {
    return OsFsUtilsPosix::makeInfo(
        _path, getStatus( _path, OsFsUtilsPosix::INFO_FIELDS, "OsFile::performGetInfo" ) );
}

} // namespace Qv
