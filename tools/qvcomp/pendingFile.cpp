#include <tools/qvcomp/pendingFile.h>

#include <tools/qvcomp/failure.h>

#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <base/values/uuid.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

constexpr mode_t NEW_RIGHTS = 0666;
/// Nobody else's until it has those of the file that it replaces.
constexpr mode_t PRIVATE_RIGHTS = 0600;
constexpr mode_t ALL_RIGHTS = 0777;
constexpr mode_t GROUP_RIGHTS = 0070;
constexpr int GROUP_SHIFT = 3;
/// As many links in a row as the system follows.
constexpr int MAX_LINKS = 40;

/// The part of a path up to its last separator, and with it.
std::string getFolder( const std::string& path ) {
    return path.substr( 0, path.rfind( '/' ) + 1 );
}

/// The text of the link, empty where there is none.
std::string readLink( const std::string& path ) {
    std::string text( PATH_MAX, '\0' );
    const ssize_t size = ::readlink( path.c_str(), text.data(), text.size() );
    text.resize( size > 0 ? static_cast<std::size_t>( size ) : 0 );
    return text;
}

/// The name that the system would make a file by for `path`, which may be a link to a file that
/// isn't there.
std::string followLinks( std::string path ) {
    for( int i = 0; i < MAX_LINKS; ++i ) {
        const std::string link = readLink( path );
        if( link.empty() ) {
            break;
        }
        path = link.starts_with( '/' ) ? link : getFolder( path ) + link;
    }
    return path;
}

/// One that may be written but not read can be used for all but syncing it.
Descriptor openFolder( const std::string& path ) {
    constexpr int FLAGS = O_DIRECTORY | O_CLOEXEC;
    Descriptor folder( ::open( path.c_str(), O_RDONLY | FLAGS ) );
    return folder.isOpen() || errno != EACCES
               ? std::move( folder )
               : Descriptor( ::open( path.c_str(), O_PATH | FLAGS ) );
}

std::string makeHiddenName() {
    return ".qvcomp." + Uuid( Uuid::CREATE ).toString();
}

std::string toOwnPath( const Descriptor& file ) {
    return "/proc/self/fd/" + std::to_string( file.get() );
}

} // namespace

PendingFile::PendingFile( const OsFilePath& path, Hiding hiding )
    : PendingFile( path, followLinks( path.toString() ), hiding ) {}

PendingFile::PendingFile( const OsFilePath& path, const std::string& target, Hiding hiding )
    : _path( path )
    , _folder( openFolder( getFolder( target ) + '.' ) )
    , _name( target.substr( target.rfind( '/' ) + 1 ) ) {
    if( !_folder.isOpen() ) {
        fail();
    }
    findFormer();
    const mode_t mode = _former ? PRIVATE_RIGHTS : NEW_RIGHTS;
    if( hiding == Hiding::NAMELESS_IF_POSSIBLE ) {
        _file.emplace( openNameless( mode ) );
    }
    if( !_file || !_file->isOpen() ) {
        _file.emplace( openHidden( mode ) );
    }
}

PendingFile::~PendingFile() {
    if( _hiddenName.empty() || ::unlinkat( _folder.get(), _hiddenName.c_str(), 0 ) == 0 ) {
        return;
    }
    try {
        fail();
    } catch( ... ) {
        Trace::printCurrentException( "PendingFile::~PendingFile", QV_HERE );
    }
}

bool PendingFile::replaces( const FileId& file ) const noexcept {
    return _former && FileId( *_former ) == file;
}

bool PendingFile::hasPlaceOf( const PendingFile& other ) const {
    struct stat ours;
    struct stat theirs;
    struct stat file;
    if( ::fstat( _folder.get(), &ours ) != 0 || ::fstat( other._folder.get(), &theirs ) != 0 ||
        ::fstat( other._file->get(), &file ) != 0 ) {
        fail();
    }
    if( ( _name == other._name && FileId( ours ) == FileId( theirs ) ) ||
        ( other._former && replaces( FileId( *other._former ) ) ) ) {
        return true;
    }
    struct stat named;
    return ::fstatat( _folder.get(), _name.c_str(), &named, AT_SYMLINK_NOFOLLOW ) == 0 &&
           FileId( named ) == FileId( file );
}

void PendingFile::write( std::uint64_t offset, const void* bytes, std::size_t size ) {
    const auto* rest = static_cast<const char*>( bytes );
    while( size > 0 ) {
        const ssize_t count = ::pwrite( _file->get(), rest, size, static_cast<off_t>( offset ) );
        if( count < 0 && errno != EINTR ) {
            fail();
        }
        const auto written = static_cast<std::size_t>( std::max<ssize_t>( count, 0 ) );
        rest += written;
        offset += written;
        size -= written;
    }
}

void PendingFile::sync() {
    if( _former ) {
        adoptRights();
    }
    if( ::fsync( _file->get() ) != 0 ) {
        fail();
    }
}

void PendingFile::commit() {
    const bool isNameless = _hiddenName.empty();
    if( !isNameless || _former || !link( _name ) ) {
        rename();
    }
    syncFolder();
}

/// What stands where the file goes.
void PendingFile::findFormer() {
    struct stat facts;
    if( ::fstatat( _folder.get(), _name.c_str(), &facts, AT_SYMLINK_NOFOLLOW ) == 0 ) {
        _former = facts;
    } else if( errno != ENOENT ) {
        fail();
    }
    if( _name.empty() || ( _former && !S_ISREG( _former->st_mode ) ) ) {
        throw Failure( Tag::CANT_REPLACE, _path.toString() );
    }
    if( _former && ::faccessat( _folder.get(), _name.c_str(), W_OK, AT_EACCESS ) != 0 ) {
        fail();
    }
}

/// Isn't open where the system or the volume has no such files, or couldn't name it later.
Descriptor PendingFile::openNameless( mode_t mode ) const {
    Descriptor file( ::openat( _folder.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode ) );
    const bool isUsable = file.isOpen() && ::access( toOwnPath( file ).c_str(), F_OK ) == 0;
    return isUsable ? std::move( file ) : Descriptor( -1 );
}

Descriptor PendingFile::openHidden( mode_t mode ) {
    const std::string name = makeHiddenName();
    Descriptor file( ::openat( _folder.get(), name.c_str(),
                               O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode ) );
    if( !file.isOpen() ) {
        fail();
    }
    _hiddenName = name;
    return file;
}

/// An owner, and after that a group, that can't be kept is no failure: who may replace the file has
/// the right to.
void PendingFile::adoptRights() {
    mode_t mode = _former->st_mode & ALL_RIGHTS;
    constexpr auto UNCHANGED = static_cast<uid_t>( -1 );
    struct stat own;
    if( ::fstat( _file->get(), &own ) != 0 ) {
        fail();
    }
    if( own.st_uid != _former->st_uid ) {
        [[maybe_unused]] const int isRefused = ::fchown( _file->get(), _former->st_uid, UNCHANGED );
    }
    if( own.st_gid != _former->st_gid &&
        ::fchown( _file->get(), UNCHANGED, _former->st_gid ) != 0 ) {
        mode = ( mode & ~GROUP_RIGHTS ) | ( mode << GROUP_SHIFT & GROUP_RIGHTS );
    }
    if( ::fchmod( _file->get(), mode ) != 0 ) {
        fail();
    }
}

/// False when the name is taken.
bool PendingFile::link( const std::string& name ) const {
    if( ::linkat( AT_FDCWD, toOwnPath( *_file ).c_str(), _folder.get(), name.c_str(),
                  AT_SYMLINK_FOLLOW ) == 0 ) {
        return true;
    }
    if( errno != EEXIST ) {
        fail();
    }
    return false;
}

/// Replaces whatever file has the name.
void PendingFile::rename() {
    while( _hiddenName.empty() ) {
        std::string name = makeHiddenName();
        if( link( name ) ) {
            _hiddenName.swap( name );
        }
    }
    if( ::renameat( _folder.get(), _hiddenName.c_str(), _folder.get(), _name.c_str() ) != 0 ) {
        fail();
    }
    _hiddenName.clear();
}

/// One that couldn't be opened to be read isn't, nor are those of some volumes.
void PendingFile::syncFolder() {
    if( ::fsync( _folder.get() ) != 0 && errno != EBADF && errno != EINVAL ) {
        fail();
    }
}

void PendingFile::fail() const {
    throw Failure( Tag::CANT_WRITE, _path.toString(), std::system_category().message( errno ) );
}

} // namespace Qv::Comp
