#include <resmgt/locks/src/posix/lkSemaHandlePosix.h>

#include <base/text/ascii.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
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

bool isRemoved( int file ) {
    struct stat status {};
    return ::fstat( file, &status ) == 0 && status.st_nlink == 0;
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
        _file = ::shm_open( _systemName.c_str(), O_RDWR | create, S_IRUSR | S_IWUSR );
        if( _file < 0 || !setLock( _file, F_OFD_SETLKW, F_WRLCK, DOOR ) ) {
            fail( errno );
            return;
        }
        if( !isRemoved( _file ) ) {
            break;
        }
        // The last one has closed it between our two calls.
        closeFile( _file );
    }
    attach( initialCount, flag );
    if( _errno == 0 && !setLock( _file, F_OFD_SETLK, F_UNLCK, DOOR ) ) {
        fail( errno );
    }
}

void LkSemaHandlePosix::attach( unsigned int initialCount, LkSemaTypes::CreateFlag flag ) {
    const bool isInUse = countOthers( _file, FIRST_OPENING, END_OF_OPENINGS ) != 0;
    if( isInUse && flag == LkSemaTypes::CREATE_ONLY ) {
        fail( EEXIST );
    } else if( isInUse ) {
        map();
    } else if( flag == LkSemaTypes::OPEN_ONLY ) {
        // What a killed process left doesn't exist any more.
        ::shm_unlink( _systemName.c_str() );
        fail( ENOENT );
    } else {
        make( initialCount );
    }
    if( _errno == 0 ) {
        takeByte();
    }
}

void LkSemaHandlePosix::make( unsigned int initialCount ) {
    if( ::ftruncate( _file, static_cast<off_t>( sizeof( sem_t ) ) ) != 0 ) {
        fail( errno );
        return;
    }
    map();
    if( _errno == 0 && ::sem_init( _sema, 1, initialCount ) != 0 ) {
        fail( errno );
    }
    if( _errno != 0 ) {
        ::shm_unlink( _systemName.c_str() );
    }
}

void LkSemaHandlePosix::map() {
    void* const memory =
        ::mmap( nullptr, sizeof( sem_t ), PROT_READ | PROT_WRITE, MAP_SHARED, _file, 0 );
    if( memory == MAP_FAILED ) {
        fail( errno );
    } else {
        _sema = static_cast<sem_t*>( memory );
    }
}

void LkSemaHandlePosix::takeByte() {
    off_t place = FIRST_OPENING;
    while( !setLock( _file, F_OFD_SETLK, F_WRLCK, place ) ) {
        if( errno != EAGAIN && errno != EACCES ) {
            fail( errno );
            return;
        }
        ++place;
    }
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
    // Without the door the name stays until somebody opens it anew.
    if( setLock( _file, F_OFD_SETLKW, F_WRLCK, DOOR ) &&
        countOthers( _file, FIRST_OPENING, END_OF_OPENINGS ) == 0 ) {
        ::shm_unlink( _systemName.c_str() );
    }
    closeFile( _file );
}

unsigned long LkSemaHandlePosix::countOpenings() const {
    return _file < 0 ? 1 : 1 + countOthers( _file, FIRST_OPENING, END_OF_OPENINGS );
}

} // namespace Qv
