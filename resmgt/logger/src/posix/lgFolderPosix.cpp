#include <resmgt/logger/src/lgFolder.h>

#include <base/failure/exBase.h>
#include <base/files/descriptorPosix.h>
#include <base/text/printable.h>
#include <resmgt/osal/osFsUtils.h>

#include <algorithm>
#include <cerrno>
#include <compare>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr std::size_t MAX_FILES = 100;
constexpr std::time_t MAX_AGE_SECONDS = 14 * 24 * 60 * 60;
constexpr mode_t OWN_FOLDER_MODE = 0700;

int openFolder( const OsFilePath& path, int flags ) {
    return ::open( path.getChars(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags );
}

std::string describe( const OsFilePath& path, const std::string& what ) {
    return "'" + Printable::makeLine( path.toString() ) + "' " + what;
}

std::string cantBeHad( const OsFilePath& path, int error ) {
    return describe( path, "can't be had: " + std::generic_category().message( error ) );
}

bool mayOthersWrite( const struct stat& folder ) {
    return ( folder.st_mode & ( S_IWGRP | S_IWOTH ) ) != 0;
}

/// Whether nobody but this user and the system's can put another folder in the place of one that is
/// in here.
bool isSafeParent( const struct stat& folder ) {
    const bool isTrusted = folder.st_uid == ::geteuid() || folder.st_uid == 0;
    return isTrusted && ( !mayOthersWrite( folder ) || ( folder.st_mode & S_ISVTX ) != 0 );
}

bool makeParent( const OsFilePath& path, std::string& problem ) {
    try {
        OsFsUtils::createDirPath( path, OsFilePath() );
        return true;
    } catch( const ExBase& exception ) {
        problem = exception.getReason();
        return false;
    }
}

/// The folder is looked at through a descriptor, and reached through its parent's.
bool makeOwn( const OsFilePath& path, std::string& problem ) {
    const OsFilePath parentPath = path.getDirectoryName();
    if( !makeParent( parentPath, problem ) ) {
        return false;
    }
    const Descriptor parent( openFolder( parentPath, 0 ) );
    struct stat information {};
    if( parent.get() < 0 || ::fstat( parent.get(), &information ) != 0 ) {
        problem = cantBeHad( parentPath, errno );
        return false;
    }
    if( !isSafeParent( information ) ) {
        problem = describe( parentPath, "belongs to another user or may be written by others" );
        return false;
    }
    const std::string name = path.getBaseName( OsFilePath::WITH_EXTENSION ).toString();
    if( ::mkdirat( parent.get(), name.c_str(), OWN_FOLDER_MODE ) != 0 && errno != EEXIST ) {
        problem = cantBeHad( path, errno );
        return false;
    }
    const Descriptor folder(
        ::openat( parent.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC ) );
    if( folder.get() < 0 || ::fstat( folder.get(), &information ) != 0 ) {
        problem = cantBeHad( path, errno );
        return false;
    }
    if( information.st_uid != ::geteuid() || mayOthersWrite( information ) ) {
        problem = describe( path, "belongs to another user or may be written by others" );
        return false;
    }
    return true;
}

/// The empty path for a user without a home directory.
OsFilePath getStateFolder() {
    const char* const variable = std::getenv( "XDG_STATE_HOME" );
    // Relative ones are to be ignored, by the base directory specification of freedesktop.org.
    if( variable != nullptr && *variable == '/' ) {
        return variable;
    }
    try {
        return OsFilePath::getHomeDir() + ".local/state";
    } catch( const ExBase& ) {
        return OsFilePath();
    }
}

/// A log file as it was found.
struct LogFile {
    std::int64_t seconds;
    std::int64_t nanoseconds;
    std::string name;
    dev_t device;
    ino_t number;

    auto operator<=>( const LogFile& other ) const {
        return std::tie( seconds, nanoseconds, name ) <=>
               std::tie( other.seconds, other.nanoseconds, other.name );
    }
    bool operator==( const LogFile& other ) const { return ( *this <=> other ) == 0; }
};

bool isOwnFile( const struct stat& information ) {
    return S_ISREG( information.st_mode ) && information.st_uid == ::geteuid();
}

bool isLogName( std::string_view name ) {
    constexpr std::string_view EXTENSION = ".log";
    return name.size() > EXTENSION.size() && name.ends_with( EXTENSION );
}

/// Oldest first.
std::vector<LogFile> listLogFiles( DIR& folder ) {
    std::vector<LogFile> files;
    while( const dirent* const entry = ::readdir( &folder ) ) {
        struct stat information;
        if( isLogName( entry->d_name ) &&
            ::fstatat( ::dirfd( &folder ), entry->d_name, &information, AT_SYMLINK_NOFOLLOW ) ==
                0 &&
            isOwnFile( information ) ) {
            files.push_back( { information.st_mtim.tv_sec, information.st_mtim.tv_nsec,
                               entry->d_name, information.st_dev, information.st_ino } );
        }
    }
    std::sort( files.begin(), files.end() );
    return files;
}

/// While the lock is ours nobody who logs can take the file to be in use; a file that is being
/// opened just now is noticed as removed by who opens it.
void remove( int folder, const LogFile& found ) {
    const Descriptor file( ::openat( folder, found.name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC ) );
    struct stat information;
    if( file.get() >= 0 && ::fstat( file.get(), &information ) == 0 && isOwnFile( information ) &&
        information.st_dev == found.device && information.st_ino == found.number &&
        ::flock( file.get(), LOCK_EX | LOCK_NB ) == 0 ) {
        ::unlinkat( folder, found.name.c_str(), 0 );
    }
}

} // namespace

bool LgFolder::makeChosen( const OsFilePath& path, std::string& problem ) {
    if( !makeParent( path, problem ) ) {
        return false;
    }
    // One that can't be listed may have files all the same.
    const Descriptor folder( openFolder( path, O_PATH ) );
    if( folder.get() < 0 ) {
        problem = cantBeHad( path, errno );
    }
    return folder.get() >= 0;
}

OsFilePath LgFolder::makeDefault( const OsFilePath& outputDir, std::string& problem ) {
    if( !outputDir.isEmpty() ) {
        const OsFilePath usual = outputDir.getAbsolutePath() + "logs";
        if( makeOwn( usual, problem ) ) {
            return usual;
        }
    }
    const OsFilePath state = getStateFolder();
    std::string secondProblem = "the user has no home directory";
    if( !state.isEmpty() && makeOwn( state + "ombra/logs", secondProblem ) ) {
        return state + "ombra/logs";
    }
    problem += "; " + secondProblem;
    return OsFilePath();
}

void LgFolder::clean( const OsFilePath& path ) {
    Descriptor descriptor( openFolder( path, 0 ) );
    if( descriptor.get() < 0 ) {
        return;
    }
    const std::unique_ptr<DIR, int ( * )( DIR* )> folder( ::fdopendir( descriptor.get() ),
                                                          ::closedir );
    if( !folder ) {
        return;
    }
    // The stream closes it from now on.
    const int number = descriptor.release();
    const std::vector<LogFile> files = listLogFiles( *folder );
    const std::size_t nbTooMany = files.size() - std::min( files.size(), MAX_FILES );
    const std::int64_t limit = ::time( nullptr ) - MAX_AGE_SECONDS;
    for( std::size_t i = 0; i < files.size() && ( i < nbTooMany || files[i].seconds <= limit );
         ++i ) {
        remove( number, files[i] );
    }
}

} // namespace Qv
