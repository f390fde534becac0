#include <resmgt/locks/src/posix/lkSemaHandlePosix.h>

#include <base/files/newDescriptorPosix.h>
#include <base/files/sizeSignalGuardPosix.h>
#include <base/text/ascii.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr off_t DOOR = 0;
constexpr off_t FIRST_OPENING = 1;
/// No process, and no system, has as many files open.
constexpr off_t END_OF_OPENINGS = off_t{ 1 } << 30;
constexpr std::size_t MAX_NAME = 200;
constexpr unsigned int MAX_COUNT = 0x7FFFFFFF;

/// The locks belong to the opening of the file, not to the process: two openings in one process
/// exclude each other too.
struct flock rangeLock( int type, off_t begin, off_t end ) {
    struct flock range {};
    range.l_type = static_cast<short>( type );
    range.l_whence = SEEK_SET;
    range.l_start = begin;
    range.l_len = end - begin;
    return range;
}

bool setLock( int file, int command, int type, off_t begin, off_t end ) {
    struct flock range = rangeLock( type, begin, end );
    int ret = 0;
    do {
        ret = ::fcntl( file, command, &range );
    } while( ret != 0 && errno == EINTR );
    return ret == 0;
}

bool setLock( int file, int command, int type, off_t place ) {
    return setLock( file, command, type, place, place + 1 );
}

/// Door and byte at once, so that nobody who comes through the door still counts the byte. Closing
/// alone wouldn't do: a forked child's copy of the descriptor would keep both locked.
void closeFile( int file ) noexcept {
    static_cast<void>( setLock( file, F_OFD_SETLK, F_UNLCK, DOOR, END_OF_OPENINGS ) );
    ::close( file );
}

/// How many other openings hold a byte of the range. Each answer of the system names one of them,
/// which cuts the range in two.
unsigned long countOthers( int file, off_t begin, off_t end ) {
    unsigned long count = 0;
    while( begin < end ) {
        struct flock range = rangeLock( F_WRLCK, begin, end );
        if( ::fcntl( file, F_OFD_GETLK, &range ) != 0 || range.l_type == F_UNLCK ) {
            return count;
        }
        count += 1 + countOthers( file, begin, range.l_start );
        begin = range.l_start + range.l_len;
    }
    return count;
}

/// 0 if the file is what a semaphore of this user stands in, else the error to report. A stranger's
/// could be cut short, which would end the processes that share it, or its door never opened.
int refuseForeign( int file ) {
    struct stat status {};
    if( ::fstat( file, &status ) != 0 ) {
        return errno;
    }
    return S_ISREG( status.st_mode ) && status.st_uid == ::geteuid() ? 0 : EACCES;
}

/// Waits at the door. 0 or the error.
int enter( int file ) {
    const int error = refuseForeign( file );
    return error != 0 || setLock( file, F_OFD_SETLKW, F_WRLCK, DOOR ) ? error : errno;
}

bool isRemoved( int file ) {
    struct stat status {};
    return ::fstat( file, &status ) == 0 && status.st_nlink == 0;
}

bool isSameFile( int left, int right ) {
    struct stat leftStatus {};
    struct stat rightStatus {};
    return ::fstat( left, &leftStatus ) == 0 && ::fstat( right, &rightStatus ) == 0 &&
           leftStatus.st_dev == rightStatus.st_dev && leftStatus.st_ino == rightStatus.st_ino;
}

/// Gives the file its full size and memory for it: without, the first access to a page that a full
/// volume doesn't have would end the process. 0 or the error.
int reserve( int file ) {
    int error = 0;
    do {
        error = ::posix_fallocate( file, 0, static_cast<off_t>( sizeof( sem_t ) ) );
    } while( error == EINTR );
    return error;
}

/// `sem_wait` that gives up after a while. A process that is killed just as it is woken takes the
/// wake-up along, and the count stays: whoever waits beside it looks again.
int waitForSlice( sem_t& sema ) {
    constexpr long SLICE = 100'000'000; // nanoseconds
    constexpr long SECOND = 1'000'000'000;
    struct timespec end {};
    ::clock_gettime( CLOCK_REALTIME, &end );
    end.tv_nsec += SLICE;
    end.tv_sec += end.tv_nsec / SECOND;
    end.tv_nsec %= SECOND;
    return ::sem_timedwait( &sema, &end );
}

} // namespace

std::string LkSemaHandlePosix::toSystemName( const char* name ) {
    std::string text( name );
    std::replace( text.begin(), text.end(), '\\', '/' );
    std::string result( "/qv.sema." );
    // FNV-1a, see http://www.isthe.com/chongo/tech/comp/fnv/.
    std::uint64_t hash = 0xCBF29CE484222325u;
    for( const char letter : text ) {
        const auto byte = static_cast<unsigned char>( letter );
        if( Ascii::isLetter( letter ) || Ascii::isDigit( letter ) ||
            std::strchr( ".-_", letter ) != nullptr ) {
            result += letter;
        } else {
            char code[4];
            std::snprintf( code, sizeof( code ), "%%%02X", static_cast<unsigned int>( byte ) );
            result += code;
        }
        hash = ( hash ^ byte ) * 0x100000001B3u;
    }
    if( result.size() > MAX_NAME ) {
        char code[20];
        std::snprintf( code, sizeof( code ), "%%%%%016llX",
                       static_cast<unsigned long long>( hash ) );
        result.resize( MAX_NAME );
        result += code;
    }
    return result;
}

LkSemaHandlePosix::LkSemaHandlePosix( const char* name, unsigned int initialCount,
                                      LkSemaTypes::CreateFlag flag )
    : _systemName( name != nullptr ? toSystemName( name ) : std::string() )
    , _opener( ::getpid() ) {
    if( initialCount > MAX_COUNT || ( name == nullptr && flag == LkSemaTypes::OPEN_ONLY ) ) {
        fail( EINVAL );
    } else if( name != nullptr ) {
        openNamed( initialCount, flag );
    } else if( ::sem_init( &_private, 0, initialCount ) != 0 ) {
        fail( errno );
    } else {
        _sema = &_private;
    }
}

void LkSemaHandlePosix::openNamed( unsigned int initialCount, LkSemaTypes::CreateFlag flag ) {
    const int create = flag == LkSemaTypes::OPEN_ONLY ? 0 : O_CREAT;
    for( ;; ) {
        _file =
            keepOffStreams( ::shm_open( _systemName.c_str(), O_RDWR | create, S_IRUSR | S_IWUSR ) );
        if( _file < 0 ) {
            fail( errno );
            return;
        }
        if( const int error = enter( _file ); error != 0 ) {
            fail( error );
            return;
        }
        if( !isRemoved( _file ) ) {
            break;
        }
        // The last one has closed it between our two calls.
        closeFile( _file );
    }
    int error = attach( initialCount, flag );
    if( error == 0 && !setLock( _file, F_OFD_SETLK, F_UNLCK, DOOR ) ) {
        error = errno;
    }
    if( error != 0 ) {
        fail( error );
    }
}

int LkSemaHandlePosix::attach( unsigned int initialCount, LkSemaTypes::CreateFlag flag ) {
    const bool isInUse = countOthers( _file, FIRST_OPENING, END_OF_OPENINGS ) != 0;
    if( isInUse && flag == LkSemaTypes::CREATE_ONLY ) {
        return EEXIST;
    }
    if( !isInUse && flag == LkSemaTypes::OPEN_ONLY ) {
        // What a killed process left doesn't exist any more.
        removeName();
        return ENOENT;
    }
    int error = isInUse ? map() : make( initialCount );
    if( error == 0 ) {
        error = takeByte();
    }
    if( error != 0 && !isInUse ) {
        removeName();
    }
    return error;
}

int LkSemaHandlePosix::make( unsigned int initialCount ) {
    const SizeSignalGuard guard;
    int error = reserve( _file );
    if( error == 0 ) {
        error = map();
    }
    if( error == 0 && ::sem_init( _sema, 1, initialCount ) != 0 ) {
        error = errno;
    }
    return error;
}

void LkSemaHandlePosix::removeName() const noexcept {
    const int named = keepOffStreams( ::shm_open( _systemName.c_str(), O_RDWR, 0 ) );
    if( named < 0 ) {
        return;
    }
    if( isSameFile( named, _file ) ) {
        ::shm_unlink( _systemName.c_str() );
    }
    ::close( named );
}

int LkSemaHandlePosix::map() {
    void* const memory =
        ::mmap( nullptr, sizeof( sem_t ), PROT_READ | PROT_WRITE, MAP_SHARED, _file, 0 );
    if( memory == MAP_FAILED ) {
        return errno;
    }
    _sema = static_cast<sem_t*>( memory );
    return 0;
}

int LkSemaHandlePosix::takeByte() {
    off_t place = FIRST_OPENING;
    while( !setLock( _file, F_OFD_SETLK, F_WRLCK, place ) ) {
        if( errno != EAGAIN && errno != EACCES ) {
            return errno;
        }
        ++place;
    }
    return 0;
}

void LkSemaHandlePosix::fail( int error ) noexcept {
    _errno = error;
    if( _sema != nullptr ) {
        ::munmap( _sema, sizeof( sem_t ) );
        _sema = nullptr;
    }
    if( _file >= 0 ) {
        closeFile( _file );
        _file = -1;
    }
}

LkSemaHandlePosix::~LkSemaHandlePosix() {
    if( _file < 0 ) {
        return;
    }
    ::munmap( _sema, sizeof( sem_t ) );
    if( _opener != ::getpid() ) {
        // The locks are still the opener's.
        ::close( _file );
        return;
    }
    // Without the door, or a descriptor to look at the name, it stays until somebody opens it anew.
    if( setLock( _file, F_OFD_SETLKW, F_WRLCK, DOOR ) &&
        countOthers( _file, FIRST_OPENING, END_OF_OPENINGS ) == 0 ) {
        removeName();
    }
    closeFile( _file );
}

void LkSemaHandlePosix::wait() {
    const bool isShared = _file >= 0;
    while( ( isShared ? waitForSlice( *_sema ) : ::sem_wait( _sema ) ) != 0 &&
           ( errno == EINTR || errno == ETIMEDOUT ) ) {}
}

unsigned long LkSemaHandlePosix::countOpenings() const {
    return _file < 0 ? 1 : 1 + countOthers( _file, FIRST_OPENING, END_OF_OPENINGS );
}

} // namespace Qv
