#include <resmgt/osal/src/osFileCalls.h>

#include <base/files/sizeSignalGuardPosix.h>
#include <resmgt/osal/src/osUnbufferedInfo.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>
#include <resmgt/osal/src/posix/permissionsPosix.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <optional>
#include <utility>

namespace Qv::OsFileCalls {

namespace {

constexpr off_t LAST_OFFSET = std::numeric_limits<off_t>::max();

int descriptor( Handle handle ) {
    return static_cast<int>( handle );
}

Moved movedBy( ssize_t count ) {
    if( count >= 0 ) {
        return { Outcome::MOVED, static_cast<unsigned long long>( count ) };
    }
    switch( errno ) {
    case ENOMEM:
    case ENOBUFS:
    case EAGAIN:
        return { Outcome::NO_RESOURCES, 0 };
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return { Outcome::DISK_FULL, 0 };
    default:
        return { Outcome::FAILED, 0 };
    }
}

constexpr Opened FAILED{ OsFileTypes::INVALID_HANDLE, 1 };

/// Reading would be what fails otherwise.
bool isNoDirectory( int file ) {
    struct stat facts;
    if( retry( [&] { return ::fstat( file, &facts ); } ) != 0 ) {
        return false;
    }
    errno = EISDIR;
    return !S_ISDIR( facts.st_mode );
}

/// Makes the transfers of an open file unbuffered. Returns the alignment that they need, 0 after a
/// failure.
unsigned long long makeUnbuffered( int file ) {
    const std::optional<OsFileTypes::UnbufferedInfo> info = getUnbufferedInfo( Handle( file ) );
    if( !info ) {
        return 0;
    }
    if( !info->supported ) {
        errno = EOPNOTSUPP;
        return 0;
    }
    return ::fcntl( file, F_SETFL, O_DIRECT ) == 0 ? info->sectorSize : 0;
}

/// Removes a file that was made in vain, at the end of its scope.
class UnfinishedFile {
public:
    /// `path` is null for none. `file` stays open meanwhile.
    UnfinishedFile( const char* path, const std::optional<Descriptor>& file )
        : _path( path )
        , _file( file ) {}
    UnfinishedFile( const UnfinishedFile& ) = delete;
    UnfinishedFile& operator=( const UnfinishedFile& ) = delete;
    ~UnfinishedFile() {
        if( _path != nullptr ) {
            const int error = errno;
            if( const auto facts = OsFsPlatform::getFacts( _file->get() ) ) {
                OsFsUtilsPosix::unlinkIfStill( AT_FDCWD, _path, facts->id );
            }
            errno = error;
        }
    }

    void keep() noexcept { _path = nullptr; }

private:
    const char* _path;
    const std::optional<Descriptor>& _file;
};

/// Asks the volume before it changes the file, and with a descriptor of the file: told to open
/// unbuffered, the system makes or empties it first and refuses then.
Opened openForUnbufferedWriting( const char* path, unsigned int mode, bool truncate ) {
    std::optional<Descriptor> file( std::in_place, path, O_RDWR | O_CREAT | O_EXCL, mode );
    UnfinishedFile unfinished( file->isOpen() ? path : nullptr, file );
    if( !file->isOpen() && errno == EEXIST ) {
        file.emplace( openOrMake( path, O_RDWR, mode ) );
    }
    if( !file->isOpen() ) {
        return FAILED;
    }
    const unsigned long long alignment = makeUnbuffered( file->get() );
    const auto empty = [&] { return ::ftruncate( file->get(), 0 ); };
    if( alignment == 0 || ( truncate && retry( empty ) != 0 ) ) {
        return FAILED;
    }
    unfinished.keep();
    return { file->release(), alignment };
}

} // namespace

Opened openForReading( const OsFilePath& path, Transfers, bool unbuffered ) {
    Descriptor file( NativePath( path ).get(), O_RDONLY );
    if( !file.isOpen() || !isNoDirectory( file.get() ) ) {
        return FAILED;
    }
    return adopt( file.release(), unbuffered );
}

Opened openForWriting( const OsFilePath& path, Transfers,
                       const OsFileTypes::Permissions& permissions, bool truncate,
                       bool unbuffered ) {
    const NativePath native( path );
    const unsigned int mode = fileMode( permissions );
    if( unbuffered ) {
        return openForUnbufferedWriting( native.get(), mode, truncate );
    }
    return { openOrMake( native.get(), O_RDWR | ( truncate ? O_TRUNC : 0 ), mode ).release(), 1 };
}

Opened adopt( Handle handle, bool unbuffered ) {
    Descriptor file( descriptor( handle ) );
    const unsigned long long alignment = unbuffered ? makeUnbuffered( file.get() ) : 1;
    return alignment != 0 ? Opened{ file.release(), alignment } : FAILED;
}

bool close( Handle handle ) {
    // An interrupted one isn't repeated: the descriptor is free already, and another thread may
    // have got it.
    return ::close( descriptor( handle ) ) == 0 || errno == EINTR;
}

Moved read( Handle handle, void* to, unsigned long long size ) {
    const int file = descriptor( handle );
    const auto readUpTo = [&]( unsigned long long limit ) {
        return retry( [&] { return ::read( file, to, limit ); } );
    };
    ssize_t count = readUpTo( size );
    if( count < 0 && errno == EINVAL ) {
        // The system refuses a read that reaches beyond the last offset, also where the file ends
        // before.
        const off_t position = ::lseek( file, 0, SEEK_CUR );
        errno = EINVAL;
        if( position >= 0 && static_cast<unsigned long long>( LAST_OFFSET - position ) < size ) {
            count = readUpTo( static_cast<unsigned long long>( LAST_OFFSET - position ) );
        }
    }
    return movedBy( count );
}

Moved write( Handle handle, const void* from, unsigned long long size ) {
    const SizeSignalGuard guard;
    return movedBy( retry( [&] { return ::write( descriptor( handle ), from, size ); } ) );
}

Moved readAt( Handle handle, void* to, long long offset, unsigned long long size ) {
    return movedBy( retry( [&] { return ::pread( descriptor( handle ), to, size, offset ); } ) );
}

Moved writeAt( Handle handle, const void* from, long long offset, unsigned long long size ) {
    const SizeSignalGuard guard;
    return movedBy( retry( [&] { return ::pwrite( descriptor( handle ), from, size, offset ); } ) );
}

long long seek( Handle handle, long long offset, OsFileTypes::SeekMode mode ) {
    int from = SEEK_SET;
    if( mode == OsFileTypes::FROM_CURRENT ) {
        from = SEEK_CUR;
    } else if( mode == OsFileTypes::FROM_END ) {
        from = SEEK_END;
    }
    return ::lseek( descriptor( handle ), offset, from );
}

bool isAtEnd( Handle handle, long long position ) {
    struct stat facts;
    return retry( [&] { return ::fstat( descriptor( handle ), &facts ); } ) == 0 &&
           position >= facts.st_size;
}

} // namespace Qv::OsFileCalls
