#include <resmgt/osal/src/osFileCalls.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace Qv::OsFileCalls {

namespace {

/// Bytes from `begin` up to `end`.
struct Range {
    off_t begin;
    off_t end;
};

/// The least that is asked for at once, in bytes.
constexpr off_t SMALLEST_PIECE = 0x100000;

bool setLength( int file, off_t length ) {
    return OsFsUtilsPosix::retry( [&] { return ::ftruncate( file, length ); } ) == 0;
}

/// Not through posix_fallocate: where the volume can't, that writes a byte into each block, which
/// other threads' writes could cross.
bool takeSpace( int file, Range range ) {
    off_t piece = range.end - range.begin;
    while( range.begin < range.end ) {
        piece = std::min( piece, range.end - range.begin );
        if( ::fallocate( file, 0, range.begin, piece ) == 0 ) {
            range.begin += piece;
        } else if( errno == EINTR ) {
            // Some volumes then give all of it back: signals that come often would never let a
            // large piece be finished.
            piece = std::max( piece / 2, SMALLEST_PIECE );
        } else {
            return false;
        }
    }
    return true;
}

bool isUnableToTakeSpace() {
    return errno == EOPNOTSUPP || errno == ENOSYS;
}

/// Nothing after a failure.
using Holes = std::optional<std::vector<Range>>;

/// The holes before `end`, found with the current position.
Holes searchHoles( int file, off_t end ) {
    std::vector<Range> holes;
    off_t data = 0;
    while( data < end ) {
        const off_t hole = ::lseek( file, data, SEEK_HOLE );
        if( hole < 0 ) {
            return std::nullopt;
        }
        if( hole >= end ) {
            break;
        }
        data = ::lseek( file, hole, SEEK_DATA );
        if( data < 0 && errno != ENXIO ) {
            return std::nullopt;
        }
        data = data < 0 ? end : std::min( data, end );
        holes.push_back( { hole, data } );
    }
    return holes;
}

/// The parts before `end` for which there is no space yet.
Holes findHoles( int file, const struct stat& facts, off_t end ) {
    constexpr off_t blockSize = 512;
    if( facts.st_blocks >= facts.st_size / blockSize ) {
        return Holes( std::in_place );
    }
    const off_t position = ::lseek( file, 0, SEEK_CUR );
    const Holes holes = position < 0 ? std::nullopt : searchHoles( file, end );
    const int error = errno;
    if( ::lseek( file, position, SEEK_SET ) != position ) {
        return std::nullopt;
    }
    errno = error;
    return holes;
}

void giveBack( int file, const std::vector<Range>& holes, off_t length ) {
    const int error = errno;
    for( const Range& hole : holes ) {
        ::fallocate( file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, hole.begin,
                     hole.end - hole.begin );
    }
    setLength( file, length );
    errno = error;
}

} // namespace

bool reserve( Handle handle, unsigned long long size ) {
    if( size > static_cast<unsigned long long>( std::numeric_limits<off_t>::max() ) ) {
        errno = EFBIG;
        return false;
    }
    const int file = static_cast<int>( handle );
    const auto length = static_cast<off_t>( size );
    struct stat facts;
    if( OsFsUtilsPosix::retry( [&] { return ::fstat( file, &facts ); } ) != 0 ) {
        return false;
    }
    const off_t kept = std::min( length, facts.st_size );
    std::vector<Range> filled;
    const Holes holes = findHoles( file, facts, kept );
    if( !holes ) {
        return false;
    }
    bool isTaken = takeSpace( file, { kept, length } );
    for( auto hole = holes->begin(); isTaken && hole != holes->end(); ++hole ) {
        filled.push_back( *hole );
        isTaken = takeSpace( file, *hole );
    }
    // A volume that can't take space can fix the length all the same.
    if( ( isTaken || isUnableToTakeSpace() ) && setLength( file, length ) ) {
        return true;
    }
    giveBack( file, filled, facts.st_size );
    return false;
}

} // namespace Qv::OsFileCalls
