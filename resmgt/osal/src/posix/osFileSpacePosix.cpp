#include <base/files/sizeSignalGuardPosix.h>
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
    return retry( [&] { return ::ftruncate( file, length ); } ) == 0;
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

/// The holes of `part`, found with the current position.
Holes searchHoles( int file, Range part ) {
    std::vector<Range> holes;
    off_t data = part.begin;
    while( data < part.end ) {
        const off_t hole = ::lseek( file, data, SEEK_HOLE );
        if( hole < 0 ) {
            return std::nullopt;
        }
        if( hole >= part.end ) {
            break;
        }
        data = ::lseek( file, hole, SEEK_DATA );
        if( data < 0 && errno != ENXIO ) {
            return std::nullopt;
        }
        data = data < 0 ? part.end : std::min( data, part.end );
        holes.push_back( { hole, data } );
    }
    return holes;
}

/// Where in `part`, which is within the file, nothing is stored; space may have been taken all the
/// same. The file's count of blocks is no sign of holes: what describes the file counts as well.
Holes findHoles( int file, Range part ) {
    if( part.begin >= part.end ) {
        return Holes( std::in_place );
    }
    const off_t position = ::lseek( file, 0, SEEK_CUR );
    const Holes holes = position < 0 ? std::nullopt : searchHoles( file, part );
    const int error = errno;
    if( ::lseek( file, position, SEEK_SET ) != position ) {
        return std::nullopt;
    }
    errno = error;
    return holes;
}

bool getFacts( int file, struct stat& facts ) {
    return retry( [&] { return ::fstat( file, &facts ); } ) == 0;
}

/// Fills the holes; `filled` becomes those for which that took space.
bool fill( int file, const std::vector<Range>& holes, std::vector<Range>& filled ) {
    for( const Range& hole : holes ) {
        struct stat before;
        struct stat after;
        if( !getFacts( file, before ) ) {
            return false;
        }
        const bool isTaken = takeSpace( file, hole );
        const int error = errno;
        if( !getFacts( file, after ) || before.st_blocks != after.st_blocks ) {
            filled.push_back( hole );
        }
        errno = error;
        if( !isTaken ) {
            return false;
        }
    }
    return true;
}

void giveBack( int file, const std::vector<Range>& holes ) {
    const int error = errno;
    for( const Range& hole : holes ) {
        ::fallocate( file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, hole.begin,
                     hole.end - hole.begin );
    }
    errno = error;
}

/// Takes the space for `part` and fixes the length of a file, which has `facts`. A failure leaves
/// the length as it was, and the space of `filled` taken.
bool take( int file, const struct stat& facts, Range part, off_t length,
           std::vector<Range>& filled ) {
    const SizeSignalGuard guard;
    const off_t kept = std::min( length, facts.st_size );
    const Holes holes = findHoles( file, { part.begin, std::min( part.end, kept ) } );
    if( !holes ) {
        return false;
    }
    const bool isTaken = takeSpace( file, { std::max( part.begin, kept ), part.end } ) &&
                         fill( file, *holes, filled );
    // Space behind the end has made the file as long. A volume that can't take space can fix the
    // length all the same.
    const bool isLongEnough = isTaken && length >= facts.st_size;
    if( ( isTaken || isUnableToTakeSpace() ) &&
        ( isLongEnough || length == facts.st_size || setLength( file, length ) ) ) {
        return true;
    }
    const int error = errno;
    if( length > facts.st_size ) {
        setLength( file, facts.st_size );
    }
    errno = error;
    return false;
}

/// Whether a file can be as long; false with errno.
bool isLength( unsigned long long size ) {
    if( size > static_cast<unsigned long long>( std::numeric_limits<off_t>::max() ) ) {
        errno = EFBIG;
        return false;
    }
    return true;
}

} // namespace

bool reserve( Handle handle, unsigned long long size ) {
    const int file = static_cast<int>( handle );
    const auto length = static_cast<off_t>( size );
    struct stat facts;
    if( !isLength( size ) || !getFacts( file, facts ) ) {
        return false;
    }
    std::vector<Range> filled;
    const bool isTaken = take( file, facts, { 0, length }, length, filled );
    if( !isTaken ) {
        giveBack( file, filled );
    }
    return isTaken;
}

bool reservePart( Handle handle, unsigned long long begin, unsigned long long end ) {
    const int file = static_cast<int>( handle );
    const Range part{ static_cast<off_t>( begin ), static_cast<off_t>( end ) };
    struct stat facts;
    std::vector<Range> filled;
    return isLength( end ) && getFacts( file, facts ) &&
           take( file, facts, part, std::max( part.end, facts.st_size ), filled );
}

} // namespace Qv::OsFileCalls
