#include <resmgt/fileLocks/src/osLockFile.h>

#include <base/failure/exSysError.h>
#include <base/files/descriptorPosix.h>
#include <base/files/retryPosix.h>
#include <base/files/sizeSignalGuardPosix.h>
#include <resmgt/osal/osFileUtils.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace Qv {

namespace {

using Kind = OsLockFile::Kind;
using Look = OsLockFile::Look;
using Moving = OsLockFile::Moving;

// For all to read who holds the lock, less what the process's mask takes away.
constexpr mode_t MODE = 0644;
constexpr const char* PRIVATE_PREFIX = ".omlock-";

/// The path as the system takes it. What can be no name here is the empty text, which names
/// nothing: a path on a drive would be taken for a relative one.
const char* toNative( const OsFilePath& path ) {
    const std::string& text = path.toString();
    const bool isName = text.starts_with( '/' ) && text.find( '\0' ) == std::string::npos;
    return isName ? text.c_str() : "";
}

bool isNothing( int error ) {
    return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

bool isFull( int error ) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

/// Asks the server, of `path` or of the open `file`.
bool ask( int file, const char* path, struct statx& facts ) {
    constexpr int HOW = AT_STATX_FORCE_SYNC | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
    constexpr unsigned int WHAT = STATX_TYPE | STATX_INO | STATX_MTIME | STATX_NLINK;
    return retry( [&] { return ::statx( file, path, HOW, WHAT, &facts ); } ) == 0;
}

OsLockFile::Id toId( const struct statx& facts ) {
    return { std::uint64_t{ facts.stx_dev_major } << 32 | facts.stx_dev_minor, facts.stx_ino };
}

Look toLook( const struct statx& facts ) {
    return { S_ISREG( facts.stx_mode ) ? Kind::FILE : Kind::OTHER, toId( facts ),
             OsDateTypes::DateRep( facts.stx_mtime.tv_sec, facts.stx_mtime.tv_nsec ) };
}

/// Whether its maker has given it up.
bool isKilled( const Look& look ) {
    return look.time == OsDateTypes::DateRep();
}

Look toFailedLook() {
    Look look;
    look.kind = isNothing( errno ) ? Kind::NOTHING : Kind::UNKNOWN;
    return look;
}

Look lookAt( const char* path ) {
    struct statx facts {};
    // Before the file is opened, which would be seen at a pipe's other end.
    if( *path == '\0' || !ask( AT_FDCWD, path, facts ) ) {
        errno = *path == '\0' ? ENOENT : errno;
        return toFailedLook();
    }
    if( !S_ISREG( facts.stx_mode ) ) {
        return toLook( facts );
    }
    // To open a file is to ask the server which one has the name.
    const Descriptor file( path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK );
    if( !file.isOpen() && isNothing( errno ) ) {
        return toFailedLook();
    }
    // Without the right to read, or a descriptor, what was asked before has to do.
    if( file.isOpen() && !ask( file.get(), "", facts ) ) {
        return toFailedLook();
    }
    return toLook( facts );
}

/// The same of what this process has just given that name: nobody else has the name.
Look lookAtOwnName( const char* path ) {
    struct statx facts {};
    return ask( AT_FDCWD, path, facts ) ? toLook( facts ) : toFailedLook();
}

/// Whether processes on other machines, or behind another program, may write files here: all but
/// the kinds of volumes that are known to be this machine's own.
bool isRemote( int file ) {
    struct statfs volume {};
    if( retry( [&] { return ::fstatfs( file, &volume ); } ) != 0 ) {
        return true;
    }
    switch( static_cast<unsigned int>( volume.f_type ) ) {
    case BTRFS_SUPER_MAGIC:
    case EXT4_SUPER_MAGIC:
    case OVERLAYFS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case XFS_SUPER_MAGIC:
        return false;
    default:
        return true;
    }
}

bool setTime( int file, const std::timespec& time ) {
    const std::timespec times[] = { time, time };
    return retry( [&] { return ::futimens( file, times ); } ) == 0;
}

/// Moves to a name that nothing has, by one of the three ways that volumes know; the last one looks
/// first. Answers the error, 0 without.
int moveToFree( const char* from, const char* to ) {
    const auto isDone = [&]( int result ) { return result == 0 || errno == EEXIST; };
    const auto toError = []( int result ) { return result == 0 ? 0 : errno; };
    int result =
        retry( [&] { return ::renameat2( AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE ); } );
    if( isDone( result ) ) {
        return toError( result );
    }
    result = retry( [&] { return ::link( from, to ); } );
    if( isDone( result ) ) {
        return toError( result == 0 ? retry( [&] { return ::unlink( from ); } ) : result );
    }
    struct statx facts {};
    if( ask( AT_FDCWD, to, facts ) ) {
        return EEXIST;
    }
    return toError( retry( [&] { return ::rename( from, to ); } ) );
}

/// Gives what was moved to a private name its own again. Where a newer file has that by now, the
/// older one goes: its holder has lost.
Moving putBack( const char* moved, const char* path, Kind kind ) {
    if( moveToFree( moved, path ) == EEXIST && kind == Kind::FILE ) {
        static_cast<void>( retry( [&] { return ::unlink( moved ); } ) );
    }
    return Moving::SPARED;
}

} // namespace

OsLockFile::~OsLockFile() {
    close();
}

void OsLockFile::close() noexcept {
    const Descriptor file(
        static_cast<int>( std::exchange( _handle, OsFileTypes::INVALID_HANDLE ) ) );
}

Look OsLockFile::look( const OsFilePath& path ) {
    const Look found = lookAt( toNative( path ) );
    if( found.kind == Kind::UNKNOWN && errno == ENOMEM ) {
        throw ExSysErrorWindows( QV_HERE, "OsLockFile::look", path.getChars() );
    }
    return found;
}

OsLockFile OsLockFile::make( const OsFilePath& path, const std::string& text ) {
    const char* const native = toNative( path );
    Descriptor made( native, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK, MODE );
    if( !made.isOpen() ) {
        return OsLockFile();
    }
    struct statx facts {};
    const bool isKnown = ask( made.get(), "", facts );
    const bool isRemoteVolume = isRemote( made.get() );
    OsLockFile file( made.release() );
    file._isRemote = isRemoteVolume;
    file._id = toId( facts );
    if( isKnown && file.write( text ) ) {
        return file;
    }
    file.kill();
    remove( path, [&]( const Look& moved ) {
        return isKilled( moved ) || ( isKnown && moved.id == file._id );
    } );
    return OsLockFile();
}

Moving OsLockFile::remove( const OsFilePath& path,
                           const std::function<bool( const Look& moved )>& mayGo ) {
    const OsFilePath privatePath =
        OsFileUtils::createUniqueFileName( path.getDirectoryName(), PRIVATE_PREFIX, nullptr );
    const char* const moved = toNative( privatePath );
    const char* const native = toNative( path );
    if( retry( [&] { return ::rename( native, moved ); } ) != 0 ) {
        return isNothing( errno ) ? Moving::VANISHED : Moving::REFUSED;
    }
    Look found;
    try {
        found = lookAtOwnName( moved );
        if( found.kind != Kind::FILE || !mayGo( found ) ) {
            return putBack( moved, native, found.kind );
        }
    } catch( ... ) {
        putBack( moved, native, found.kind );
        throw;
    }
    return retry( [&] { return ::unlink( moved ); } ) == 0 || errno == ENOENT ? Moving::REMOVED
                                                                              : Moving::REFUSED;
}

OsLockFile::Place OsLockFile::findPlace( const OsFilePath& path ) const {
    const Look found = lookAt( toNative( path ) );
    if( found.kind == Kind::NOTHING ) {
        return Place::NOTHING;
    }
    if( found.kind == Kind::UNKNOWN ) {
        return Place::UNKNOWN;
    }
    if( found.kind == Kind::OTHER || !isOpen() || found.id != _id ) {
        return Place::OTHERS;
    }
    struct statx facts {};
    // A server gives the number of a file that has gone to the next one, although it is open here.
    if( !ask( static_cast<int>( _handle ), "", facts ) ) {
        return errno == ESTALE || errno == ENOENT ? Place::OTHERS : Place::UNKNOWN;
    }
    return facts.stx_nlink > 0 ? Place::OWN : Place::OTHERS;
}

bool OsLockFile::write( const std::string& text ) const {
    const int file = static_cast<int>( _handle );
    const SizeSignalGuard guard;
    bool isDone = true;
    for( std::size_t at = 0; isDone && at < text.size(); ) {
        const ssize_t nbWritten = retry( [&] {
            return ::pwrite( file, text.data() + at, text.size() - at, static_cast<off_t>( at ) );
        } );
        isDone = nbWritten > 0;
        at += isDone ? static_cast<std::size_t>( nbWritten ) : 0;
    }
    if( isDone && _isRemote ) {
        isDone = retry( [&] { return ::fdatasync( file ); } ) == 0;
    }
    return isDone || ( isFull( errno ) && setTime( file, { 0, UTIME_NOW } ) );
}

void OsLockFile::kill() const noexcept {
    if( isOpen() ) {
        static_cast<void>( setTime( static_cast<int>( _handle ), { 0, 0 } ) );
    }
}

std::int64_t getLockClock() noexcept {
    std::timespec now{};
    ::clock_gettime( CLOCK_BOOTTIME, &now );
    return now.tv_sec * OsDateTypes::DateRep::NS_PER_SECOND + now.tv_nsec;
}

} // namespace Qv
