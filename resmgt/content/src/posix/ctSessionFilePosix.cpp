#include <resmgt/content/src/ctSessionFile.h>

#include <base/files/descriptorPosix.h>
#include <base/files/retryPosix.h>
#include <base/files/sizeSignalGuardPosix.h>
#include <resmgt/content/src/ctTileNames.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr mode_t INDEX_MODE = 0666;
constexpr std::uint64_t INDEX_BYTE = 0;

/// How often a lock is tried while others hold it: quickly at first, since they hold it for as long
/// as the disk needs, then rarely.
constexpr std::chrono::microseconds SHORTEST_PAUSE( 200 );
constexpr std::chrono::microseconds LONGEST_PAUSE( 20000 );

constexpr int HOW_TO_OPEN = O_NOFOLLOW | O_NONBLOCK;

/// Opens an index that is there. Looks before: to open a pipe would be seen at its other end.
Descriptor openIndex( const char* path, int flags ) {
    struct stat facts {};
    const auto isRegular = [&] {
        errno = EINVAL;
        return S_ISREG( facts.st_mode );
    };
    if( retry( [&] { return ::lstat( path, &facts ); } ) != 0 || !isRegular() ) {
        return Descriptor( -1 );
    }
    Descriptor file( path, flags | HOW_TO_OPEN );
    const bool isIndex =
        file.isOpen() && retry( [&] { return ::fstat( file.get(), &facts ); } ) == 0 && isRegular();
    return isIndex ? std::move( file ) : Descriptor( -1 );
}

Descriptor openOrMakeIndex( const char* path ) {
    Descriptor found = openIndex( path, O_RDWR );
    if( found.isOpen() || errno != ENOENT ) {
        return found;
    }
    Descriptor made( path, O_RDWR | O_CREAT | O_EXCL | HOW_TO_OPEN, INDEX_MODE );
    // Or another process was quicker.
    return made.isOpen() ? std::move( made ) : openIndex( path, O_RDWR );
}

/// A volume that can't sync this kind of file has nothing to be synced.
bool sync( int file ) {
    return retry( [&] { return ::fsync( file ); } ) == 0 || errno == EINVAL || errno == EOPNOTSUPP;
}

bool syncDirectory( const OsFilePath& path ) {
    const Descriptor directory( path.getChars(), O_RDONLY | O_DIRECTORY );
    return directory.isOpen() && sync( directory.get() );
}

struct flock makeLock( int type, std::uint64_t byte ) {
    struct flock lock {};
    lock.l_type = static_cast<short>( type );
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>( byte );
    lock.l_len = 1;
    return lock;
}

bool isHeldByOthers() {
    return errno == EAGAIN || errno == EACCES;
}

/// Tries until `attempt` doesn't find others any more, or the time is over.
template <class Attempt>
CtSessionFile::Locking tryFor( double seconds, Attempt attempt ) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>( seconds );
    auto pause = SHORTEST_PAUSE;
    auto locking = attempt();
    while( locking == CtSessionFile::Locking::HELD_BY_OTHERS &&
           std::chrono::steady_clock::now() < deadline ) {
        std::this_thread::sleep_for( pause );
        pause = std::min( pause * 2, LONGEST_PAUSE );
        locking = attempt();
    }
    return locking;
}

} // namespace

CtSessionFile::CtSessionFile( const OsFilePath& directory, Access access )
    : _directory( directory )
    , _path( directory + OsFilePath( CtTileNames::INDEX ) ) {
    const char* const path = _path.getChars();
    Descriptor file = access == Access::MAKE ? openOrMakeIndex( path ) : openIndex( path, O_RDWR );
    if( !file.isOpen() ) {
        _isWritable = false;
        file = openIndex( path, O_RDONLY );
    }
    _handle = file.release();
}

CtSessionFile::CtSessionFile( CtSessionFile&& other ) noexcept
    : _directory( other._directory )
    , _path( other._path )
    , _handle( std::exchange( other._handle, OsFileTypes::INVALID_HANDLE ) )
    , _isWritable( other._isWritable ) {}

CtSessionFile& CtSessionFile::operator=( CtSessionFile&& other ) noexcept {
    std::swap( _directory, other._directory );
    std::swap( _path, other._path );
    std::swap( _handle, other._handle );
    std::swap( _isWritable, other._isWritable );
    return *this;
}

CtSessionFile::~CtSessionFile() {
    static_cast<void>( Descriptor( static_cast<int>( _handle ) ) );
}

CtSessionFile::Locking CtSessionFile::lock( double seconds ) {
    return tryFor( seconds, [&] { return lockByte( F_WRLCK, INDEX_BYTE ); } );
}

bool CtSessionFile::unlock() {
    return lockByte( F_UNLCK, INDEX_BYTE ) == Locking::HAD;
}

CtSessionFile::Locking CtSessionFile::mark( std::uint32_t session, double seconds ) {
    const Locking marked = lockByte( F_RDLCK, FIRST_MARK + session );
    const auto pass = [&] { return lockByte( F_RDLCK, FIRST_CLAIM + session ); };
    if( marked == Locking::HAD && tryFor( seconds, pass ) == Locking::HAD ) {
        release( session );
    }
    return marked;
}

bool CtSessionFile::claim( std::uint32_t session ) {
    if( lockByte( F_WRLCK, FIRST_CLAIM + session ) != Locking::HAD ) {
        return false;
    }
    const bool isMarked = look( session ) != Locking::HAD;
    if( isMarked ) {
        release( session );
    }
    return !isMarked;
}

void CtSessionFile::release( std::uint32_t session ) {
    lockByte( F_UNLCK, FIRST_CLAIM + session );
}

CtSessionFile::Locking CtSessionFile::look( std::uint32_t session ) const {
    struct flock lock = makeLock( F_WRLCK, FIRST_MARK + session );
    if( ::fcntl( static_cast<int>( _handle ), F_OFD_GETLK, &lock ) != 0 ) {
        return Locking::IMPOSSIBLE;
    }
    return lock.l_type == F_UNLCK ? Locking::HAD : Locking::HELD_BY_OTHERS;
}

CtSessionFile::Locking CtSessionFile::lockByte( int type, std::uint64_t byte ) {
    struct flock lock = makeLock( type, byte );
    if( ::fcntl( static_cast<int>( _handle ), F_OFD_SETLK, &lock ) == 0 ) {
        return Locking::HAD;
    }
    return isHeldByOthers() ? Locking::HELD_BY_OTHERS : Locking::IMPOSSIBLE;
}

std::optional<std::string> CtSessionFile::read() const {
    std::string text( MOST_LENGTH + 1, ' ' );
    std::size_t length = 0;
    ssize_t count = 1;
    while( count > 0 && length < text.size() ) {
        count = retry( [&] {
            return ::pread( static_cast<int>( _handle ), text.data() + length, text.size() - length,
                            static_cast<off_t>( length ) );
        } );
        length += count > 0 ? static_cast<std::size_t>( count ) : 0;
    }
    text.resize( length );
    return count < 0 ? std::nullopt : std::optional( std::move( text ) );
}

bool CtSessionFile::write( std::uint64_t number ) {
    struct stat facts {};
    const int file = static_cast<int>( _handle );
    if( retry( [&] { return ::fstat( file, &facts ); } ) != 0 ) {
        return false;
    }
    const auto former = static_cast<std::uint64_t>( facts.st_size );
    std::string text = std::to_string( number );
    text.resize( former > MOST_LENGTH ? LENGTH : std::max<std::size_t>( former, LENGTH ), ' ' );
    text.back() = '\n';
    const bool isWritten =
        writeText( text ) &&
        ( former <= text.size() ||
          retry( [&] { return ::ftruncate( file, static_cast<off_t>( text.size() ) ); } ) == 0 );
    // The directory itself may be new; what stands above it may be closed to this user.
    syncDirectory( _directory.getDirectoryName() );
    return isWritten && sync( file ) && syncDirectory( _directory );
}

bool CtSessionFile::writeText( const std::string& text ) {
    const SizeSignalGuard guard;
    std::size_t done = 0;
    while( done < text.size() ) {
        const ssize_t count = retry( [&] {
            return ::pwrite( static_cast<int>( _handle ), text.data() + done, text.size() - done,
                             static_cast<off_t>( done ) );
        } );
        if( count <= 0 ) {
            return false;
        }
        done += static_cast<std::size_t>( count );
    }
    return true;
}

} // namespace Qv
