#include <resmgt/logger/src/lgTailFile.h>

#include <base/files/descriptorPosix.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr const char* FOLDER = "/dev/shm";
constexpr const char* PREFIX = "qvlog.";
constexpr mode_t OWNER_ONLY = 0600;
// Files that former processes with the same number have left.
constexpr int MAX_TRIES = 10000;
// More than a queue takes.
constexpr off_t MAX_SIZE = 16 * 1024 * 1024;

// A killed process with a hundred threads leaves some seven megabytes.
constexpr std::size_t MAX_NB_LEFT = 10;

// Numbers the files of this process; relaxed, only different values count.
constinit std::atomic<unsigned int> lastNumber{ 0 };

struct flock makeLock() noexcept {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

struct FolderCloser {
    void operator()( DIR* folder ) const noexcept { static_cast<void>( ::closedir( folder ) ); }
};

/// Negative unless it is a regular file of this user and no link.
int openOwn( const std::string& name, off_t& size ) noexcept {
    const int file = ::shm_open( ( '/' + name ).c_str(), O_RDWR | O_CLOEXEC, 0 );
    struct stat info {};
    if( file >= 0 && ( ::fstat( file, &info ) != 0 || !S_ISREG( info.st_mode ) ||
                       info.st_uid != ::geteuid() || info.st_size > MAX_SIZE ) ) {
        static_cast<void>( ::close( file ) );
        return -1;
    }
    size = info.st_size;
    return file;
}

bool isLocked( int file ) noexcept {
    struct flock lock = makeLock();
    return ::fcntl( file, F_GETLK, &lock ) != 0 || lock.l_type != F_UNLCK;
}

/// What one process has left.
struct Remains {
    // Of the newest file; its later changes leave the time as it is.
    timespec time{};
    std::vector<std::string> files;

    bool isNewerThan( const Remains& other ) const noexcept {
        return std::pair( time.tv_sec, time.tv_nsec ) >
               std::pair( other.time.tv_sec, other.time.tv_nsec );
    }
};

std::vector<Remains> findRemains() {
    std::map<std::string, Remains> processes;
    for( const std::string& name : LgTailFile::list() ) {
        off_t size = 0;
        const Descriptor file( openOwn( name, size ) );
        struct stat info {};
        if( file.get() >= 0 && !isLocked( file.get() ) && ::fstat( file.get(), &info ) == 0 ) {
            Remains& remains = processes[name.substr( 0, name.rfind( '.' ) )];
            const Remains found{ info.st_mtim, {} };
            remains.time = found.isNewerThan( remains ) ? found.time : remains.time;
            remains.files.push_back( name );
        }
    }
    std::vector<Remains> all;
    for( auto& [process, remains] : processes ) {
        all.push_back( std::move( remains ) );
    }
    return all;
}

} // namespace

void LgTailFile::removeOld() noexcept {
    try {
        std::vector<Remains> remains = findRemains();
        std::sort( remains.begin(), remains.end(), []( const Remains& left, const Remains& right ) {
            return left.isNewerThan( right );
        } );
        for( std::size_t i = MAX_NB_LEFT; i < remains.size(); ++i ) {
            for( const std::string& name : remains[i].files ) {
                removeDead( name );
            }
        }
    } catch( const std::exception& ) {
        // Without memory just now; the next process will do.
    }
}

int LgTailFile::create( Name& name ) noexcept {
    for( int i = 0; i < MAX_TRIES; ++i ) {
        std::snprintf( name.data(), name.size(), "/%s%ld.%u", PREFIX,
                       static_cast<long>( ::getpid() ),
                       lastNumber.fetch_add( 1, std::memory_order_relaxed ) );
        const int file =
            ::shm_open( name.data(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, OWNER_ONLY );
        if( file >= 0 ) {
            struct flock lock = makeLock();
            static_cast<void>( ::fcntl( file, F_SETLK, &lock ) );
        }
        if( file >= 0 || errno != EEXIST ) {
            return file;
        }
    }
    return -1;
}

void LgTailFile::remove( int file, const Name& name ) noexcept {
    if( file >= 0 ) {
        static_cast<void>( ::shm_unlink( name.data() ) );
        static_cast<void>( ::close( file ) );
    }
}

std::vector<std::string> LgTailFile::list() {
    std::vector<std::string> names;
    // To open and close one of them would give up its lock.
    const std::string own = PREFIX + std::to_string( ::getpid() ) + '.';
    const std::unique_ptr<DIR, FolderCloser> folder( ::opendir( FOLDER ) );
    while( const dirent* const entry = folder ? ::readdir( folder.get() ) : nullptr ) {
        const std::string name = entry->d_name;
        if( name.rfind( PREFIX, 0 ) == 0 && name.rfind( own, 0 ) != 0 ) {
            off_t size = 0;
            const Descriptor file( openOwn( name, size ) );
            if( file.get() >= 0 ) {
                names.push_back( name );
            }
        }
    }
    return names;
}

std::vector<char> LgTailFile::read( const std::string& name, bool& isAlive ) {
    off_t size = 0;
    const Descriptor file( openOwn( name, size ) );
    if( file.get() < 0 ) {
        return {};
    }
    // Before the contents: of a process that is gone they don't change any more.
    isAlive = isLocked( file.get() );
    std::vector<char> bytes( static_cast<std::size_t>( size ) );
    std::size_t nbRead = 0;
    while( nbRead < bytes.size() ) {
        const ssize_t nb = ::pread( file.get(), bytes.data() + nbRead, bytes.size() - nbRead,
                                    static_cast<off_t>( nbRead ) );
        if( nb <= 0 ) {
            break;
        }
        nbRead += static_cast<std::size_t>( nb );
    }
    bytes.resize( nbRead );
    return bytes;
}

bool LgTailFile::removeDead( const std::string& name ) {
    off_t size = 0;
    const Descriptor file( openOwn( name, size ) );
    return file.get() >= 0 && !isLocked( file.get() ) &&
           ::shm_unlink( ( '/' + name ).c_str() ) == 0;
}

} // namespace Qv
