#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/posix/accountPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>

#include <algorithm>
#include <limits>
#include <map>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Qv {

namespace {

OsDateTypes::DateRep toDate( const statx_timestamp& time ) {
    return { time.tv_sec, time.tv_nsec };
}

struct statvfs getVolumeStatus( const OsFilePath& path, const char* where ) {
    struct statvfs status {};
    const NativePath native( path );
    if( retry( [&] { return ::statvfs( native.get(), &status ); } ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
    }
    return status;
}

unsigned long long toBytes( unsigned long long nbBlocks, unsigned long long blockSize ) {
    constexpr auto MAX = std::numeric_limits<unsigned long long>::max();
    return blockSize != 0 && nbBlocks > MAX / blockSize ? MAX : nbBlocks * blockSize;
}

} // namespace

bool OsFsUtilsPosix::getStatus( int folder, const char* name, int flags, unsigned int fields,
                                struct statx& status ) {
    return retry( [&] {
               return ::statx( folder, name, flags | AT_NO_AUTOMOUNT, fields, &status );
           } ) == 0;
}

bool OsFsUtilsPosix::getStatus( const OsFilePath& path, unsigned int fields,
                                struct statx& status ) {
    return getStatus( AT_FDCWD, NativePath( path ).get(), 0, fields, status );
}

std::optional<OsFsPlatform::Facts> OsFsUtilsPosix::getFacts( int folder, const char* name,
                                                             int flags ) {
    using OsFsPlatform::Kind;
    struct statx status;
    if( !getStatus( folder, name, flags, STATX_TYPE | STATX_INO, status ) ) {
        return std::nullopt;
    }
    const auto volume = std::uint64_t{ status.stx_dev_major } << 32U | status.stx_dev_minor;
    const unsigned int mode = status.stx_mode;
    return OsFsPlatform::Facts{ { volume, status.stx_ino },
                                S_ISREG( mode )   ? Kind::PLAIN
                                : S_ISDIR( mode ) ? Kind::DIRECTORY
                                : S_ISLNK( mode ) ? Kind::LINK
                                                  : Kind::SPECIAL };
}

bool OsFsUtilsPosix::unlinkIfStill( int folder, const char* name, const OsFsPlatform::FileId& id ) {
    const auto found = getFacts( folder, name, AT_SYMLINK_NOFOLLOW );
    if( !found ) {
        return errno == ENOENT;
    }
    return found->id != id || retry( [&] { return ::unlinkat( folder, name, 0 ); } ) == 0;
}

bool OsFsUtilsPosix::findStatus( const OsFilePath& path, int flags, unsigned int fields,
                                 struct statx& status, const char* where ) {
    const bool isFound = getStatus( AT_FDCWD, NativePath( path ).get(), flags, fields, status );
    if( !isFound && isExhaustion( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
    }
    return isFound;
}

OsFileInfo OsFsUtilsPosix::makeInfo( const OsFilePath& path, const struct statx& status ) {
    return { path,
             getAccountName( status.stx_uid, path ),
             getType( status ),
             status.stx_size,
             getModificationTime( status ),
             getCreationTime( status ) };
}

OsFileTypes::ElementType OsFsUtilsPosix::getType( const struct statx& status ) {
    return S_ISDIR( status.stx_mode ) ? OsFileTypes::DIRECTORY : OsFileTypes::PLAIN;
}

OsDateTypes::DateRep OsFsUtilsPosix::getModificationTime( const struct statx& status ) {
    return toDate( status.stx_mtime );
}

OsDateTypes::DateRep OsFsUtilsPosix::getCreationTime( const struct statx& status ) {
    return ( status.stx_mask & STATX_BTIME ) != 0
               ? toDate( status.stx_btime )
               : std::min( toDate( status.stx_mtime ), toDate( status.stx_ctime ) );
}

const std::string& OsFsUtilsPosix::getAccountName( uid_t account, const OsFilePath& path ) {
    // A directory has few owners; asking the system for one takes longer than for a file.
    thread_local std::map<uid_t, std::string> names;
    auto entry = names.find( account );
    if( entry == names.end() ) {
        const char* const where = "OsFsUtilsWindows::win32FileOwnerInfo";
        entry = names.emplace( account, AccountPosix::getName( account, where, path.getChars() ) )
                    .first;
    }
    return entry->second;
}

bool OsFsUtils::isDirectory( const OsFilePath& path ) {
    struct statx status;
    return OsFsUtilsPosix::findStatus( path, 0, STATX_TYPE, status, "OsFsUtils::isDirectory" ) &&
           S_ISDIR( status.stx_mode );
}

bool OsFsUtils::isFile( const OsFilePath& path ) {
    struct statx status;
    return OsFsUtilsPosix::findStatus( path, 0, STATX_TYPE, status, "OsFsUtils::isFile" ) &&
           !S_ISDIR( status.stx_mode );
}

bool OsFsUtils::isSymLink( const OsFilePath& path ) {
    struct statx status;
    return OsFsUtilsPosix::findStatus( path, AT_SYMLINK_NOFOLLOW, STATX_TYPE, status,
                                       "OsFsUtils::isSymLink" ) &&
           S_ISLNK( status.stx_mode );
}

void OsFsUtils::createHardLink( const OsFilePath& from, const OsFilePath& to ) {
    constexpr const char* WHERE = "OsFsUtils::createHardLink";
    const NativePath source( from );
    const NativePath target( to );
    if( retry( [&] {
            return ::linkat( AT_FDCWD, source.get(), AT_FDCWD, target.get(), AT_SYMLINK_FOLLOW );
        } ) == 0 ) {
        return;
    }
    switch( errno ) {
    case EEXIST:
        throw OsFileEx::ExFileExists( QV_HERE, WHERE, to );
    case EPERM:
    case EOPNOTSUPP:
    case ENOSYS:
        throw OsFileEx::ExUnHardlinkableFs( QV_HERE, WHERE, to );
    case EXDEV:
        throw OsFileEx::ExInvalidCrossDeviceLink( QV_HERE, WHERE, from, to );
    default:
        throw ExSysErrorWindows( QV_HERE, WHERE, from.getChars() );
    }
}

void OsFsUtils::deleteFile( const OsFilePath& path ) {
    const NativePath native( path );
    if( retry( [&] { return ::unlink( native.get() ); } ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsFsUtils::deleteFile", path.getChars() );
    }
}

void OsFsUtils::removeDir( const OsFilePath& path ) {
    const NativePath native( path );
    if( retry( [&] { return ::rmdir( native.get() ); } ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsFsUtils::removeDir", path.getChars() );
    }
}

unsigned long long OsFsUtils::getTotalSpace( const OsFilePath& path ) {
    const struct statvfs status = getVolumeStatus( path, "OsFsUtils::getTotalSpace" );
    return toBytes( status.f_blocks, status.f_frsize );
}

unsigned long long OsFsUtils::getFreeSpace( const OsFilePath& path ) {
    const struct statvfs status = getVolumeStatus( path, "OsFsUtils::getFreeSpace" );
    return toBytes( status.f_bavail, status.f_frsize );
}

bool OsFsUtils::supportDrives() {
    return false;
}

const OsFilePath& OsFsUtils::getNullDevicePath() {
    static const OsFilePath path( "/dev/null" );
    return path;
}

} // namespace Qv
