#include <resmgt/logger/src/lgFile.h>

#include <base/files/newDescriptorPosix.h>
#include <base/files/sizeSignalGuardPosix.h>
#include <base/text/printable.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/src/lgStandardStreams.h>
#include <resmgt/logger/src/posix/pipeSignalGuardPosix.h>
#include <resmgt/profiling/hwCounter.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr double RETRY_SECONDS = 1.0;
// Not waiting: for a pipe's reader, and for whoever holds a lease on the file.
constexpr int OPEN_FLAGS = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr mode_t OWN_MODE = 0600;
constexpr mode_t USUAL_MODE = 0666;
// A file may be removed between our opening and our locking it; that it goes on so isn't likely.
constexpr int MAX_ATTEMPTS = 8;
// Far more than one who cleans needs between locking a file and removing it.
constexpr timespec LOCK_WAIT{ 0, 1'000'000 };
constexpr int STALL_MILLISECONDS = 5000;

std::string makeAbsolute( const std::string& path ) {
    char directory[PATH_MAX];
    if( path.empty() || path.front() == '/' ||
        ::getcwd( directory, sizeof directory ) == nullptr ) {
        return path;
    }
    return std::string( directory ) + "/" + path;
}

int closeWith( int descriptor, int error ) noexcept {
    ::close( descriptor );
    errno = error;
    return -1;
}

/// What has our file's name: only a regular file of this user, with no second name, is ours.
int checkOwn( int descriptor ) noexcept {
    struct stat information;
    if( ::fstat( descriptor, &information ) != 0 ) {
        return closeWith( descriptor, errno );
    }
    const bool isOwn = S_ISREG( information.st_mode ) && information.st_uid == ::geteuid() &&
                       information.st_nlink <= 1;
    return isOwn ? descriptor : closeWith( descriptor, EEXIST );
}

/// False where somebody else is about to remove the file, or keeps a lock of their own on it.
bool lockShared( int descriptor ) noexcept {
    return ::flock( descriptor, LOCK_SH | LOCK_NB ) == 0 || errno != EWOULDBLOCK;
}

} // namespace

LgFileBuffer::LgFileBuffer( const std::string& path, Naming naming, LossText lossText )
    : _path( makeAbsolute( path ) )
    , _naming( naming )
    , _lossText( lossText ) {
    _descriptor = openFile( _identity );
    _openError = _descriptor < 0 ? errno : 0;
}

LgFileBuffer::~LgFileBuffer() {
    if( isOpen() ) {
        ::close( _descriptor );
    }
}

bool LgFileBuffer::isSameFile( const LgFileBuffer& other ) const noexcept {
    return isOpen() && other.isOpen() && _identity == other._identity;
}

void LgFileBuffer::truncate() noexcept {
    // A pipe or device refuses; what a file keeps is kept.
    if( _isRegular && ::ftruncate( _descriptor, 0 ) != 0 ) {
        report( errno );
    }
}

/// The shared lock says to all who clean folders of logs that the file is in use. One who holds
/// another lock may be just removing it; the name leads to a new file then. Where there are no
/// locks, or the other one stays, there is none; the file is young.
int LgFileBuffer::openFile( Identity& identity ) {
    for( int attempt = 0; attempt < MAX_ATTEMPTS; ++attempt ) {
        const int descriptor =
            keepOffStreams( _naming == DEFAULT_NAME ? openDefault() : openChosen() );
        struct stat information;
        if( descriptor < 0 || ::fstat( descriptor, &information ) != 0 ) {
            return descriptor < 0 ? descriptor : closeWith( descriptor, errno );
        }
        _isRegular = S_ISREG( information.st_mode );
        identity = { static_cast<std::uint64_t>( information.st_dev ),
                     static_cast<std::uint64_t>( information.st_ino ) };
        if( !_isRegular ) {
            return descriptor;
        }
        const bool isLocked = lockShared( descriptor );
        const bool isThere = ::fstat( descriptor, &information ) != 0 || information.st_nlink > 0;
        if( isThere && ( isLocked || attempt == MAX_ATTEMPTS - 1 ) ) {
            return descriptor;
        }
        ::close( descriptor );
        if( !isLocked ) {
            ::nanosleep( &LOCK_WAIT, nullptr );
        }
    }
    errno = ENOENT;
    return -1;
}

int LgFileBuffer::openDefault() const {
    const int made = ::open( _path.c_str(), OPEN_FLAGS | O_EXCL | O_NOFOLLOW, OWN_MODE );
    if( made >= 0 || errno != EEXIST ) {
        return made;
    }
    const int found = ::open( _path.c_str(), ( OPEN_FLAGS & ~O_CREAT ) | O_NOFOLLOW );
    return found < 0 ? found : checkOwn( found );
}

int LgFileBuffer::openChosen() const {
    return ::open( _path.c_str(), OPEN_FLAGS, USUAL_MODE );
}

bool LgFileBuffer::isWhereNameLeads() const noexcept {
    struct stat information;
    if( ::stat( _path.c_str(), &information ) != 0 ) {
        // What can't be asked just now is where it was.
        return errno != ENOENT && errno != ENOTDIR;
    }
    return _identity == Identity{ static_cast<std::uint64_t>( information.st_dev ),
                                  static_cast<std::uint64_t>( information.st_ino ) };
}

void LgFileBuffer::openAnew() {
    Identity identity;
    const bool wasRegular = _isRegular;
    const int descriptor = openFile( identity );
    if( descriptor < 0 ) {
        _isRegular = wasRegular;
        return;
    }
    ::close( std::exchange( _descriptor, descriptor ) );
    _identity = identity;
    _retryTime = 0.0;
    _endsWithinLine = false;
    if( !_header.empty() ) {
        write( _header );
    }
}

void LgFileBuffer::maintain() noexcept {
    if( !isOpen() ) {
        return;
    }
    try {
        if( !isWhereNameLeads() ) {
            openAnew();
        }
        if( _nbLost > 0 && HwCounter::seconds() >= _retryTime ) {
            writeLoss();
        }
    } catch( const std::bad_alloc& ) {
        // The next second will do.
    }
}

LgFileBuffer::int_type LgFileBuffer::overflow( int_type character ) {
    if( !traits_type::eq_int_type( character, traits_type::eof() ) ) {
        const char added = traits_type::to_char_type( character );
        xsputn( &added, 1 );
    }
    return traits_type::not_eof( character );
}

/// Never a failure for the stream, which would take nothing any more then.
std::streamsize LgFileBuffer::xsputn( const char* text, std::streamsize size ) {
    try {
        _line.append( text, static_cast<std::size_t>( size ) );
    } catch( const std::bad_alloc& ) {
        _isLineCut = true;
    }
    return size;
}

int LgFileBuffer::sync() {
    if( !_line.empty() || _isLineCut ) {
        writeLine( _line );
        _line.clear();
        _isLineCut = false;
    }
    return 0;
}

void LgFileBuffer::writeLine( const std::string& line ) noexcept {
    const bool isWaiting = _retryTime > 0.0 && HwCounter::seconds() < _retryTime;
    if( _isLineCut ) {
        _lossError = ENOMEM;
    }
    if( _isLineCut || isWaiting || ( _nbLost > 0 && !writeLoss() ) || !write( line ) ) {
        ++_nbLost;
        _nbFailed.fetch_add( 1, std::memory_order_relaxed );
    }
}

bool LgFileBuffer::writeLoss() noexcept {
    try {
        if( !write( _lossText( _nbLost, _lossError ) ) ) {
            return false;
        }
    } catch( const std::bad_alloc& ) {
        return false;
    }
    _nbLost = 0;
    return true;
}

bool LgFileBuffer::write( const std::string& text ) noexcept {
    const SizeSignalGuard sizeGuard;
    std::optional<PipeSignalGuard> pipeGuard;
    if( !_isRegular ) {
        pipeGuard.emplace();
    }
    if( _endsWithinLine ) {
        const char* lineEnd = "\n";
        if( !writePart( lineEnd, lineEnd + 1 ) ) {
            return false;
        }
        _endsWithinLine = false;
    }
    const char* position = text.data();
    const char* const end = position + text.size();
    if( !writePart( position, end ) ) {
        _endsWithinLine = position != text.data();
        return false;
    }
    _retryTime = 0.0;
    return true;
}

/// One call, unless the system takes less than all.
bool LgFileBuffer::writePart( const char*& position, const char* end ) noexcept {
    while( position != end ) {
        const ssize_t count =
            ::write( _descriptor, position, static_cast<std::size_t>( end - position ) );
        if( count > 0 ) {
            position += count;
        } else if( count < 0 && ( errno == EAGAIN || errno == EWOULDBLOCK ) ) {
            if( !waitForRoom() ) {
                fail( ETIMEDOUT );
                return false;
            }
        } else if( count == 0 || errno != EINTR ) {
            fail( count == 0 ? ENOSPC : errno );
            return false;
        }
    }
    return true;
}

bool LgFileBuffer::waitForRoom() const noexcept {
    constexpr int FOREVER = -1;
    const int limit = LgLog::isLoggerActive() ? FOREVER : STALL_MILLISECONDS;
    pollfd request{ _descriptor, POLLOUT, 0 };
    int result = -1;
    do {
        result = ::poll( &request, 1, limit );
    } while( result < 0 && errno == EINTR );
    return result > 0;
}

void LgFileBuffer::fail( int error ) noexcept {
    _lossError = error;
    _retryTime = HwCounter::seconds() + RETRY_SECONDS;
    if( !std::exchange( _isReported, true ) ) {
        report( error );
    }
}

/// Past Trace, which would lead back here.
void LgFileBuffer::report( int error ) const noexcept {
    try {
        const std::string text = "The log file '" + Printable::makeLine( _path ) +
                                 "' can't be written: " + std::generic_category().message( error ) +
                                 ". What is lost meanwhile will be counted in it.\n";
        writeStandardError( text );
    } catch( const std::bad_alloc& ) {
        // The count in the file will say it.
    }
}

} // namespace Qv
