#include <resmgt/osal/osFileReplacement.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <base/values/uuid.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/src/osFileCalls.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <utility>

namespace Qv {

namespace {

constexpr mode_t RIGHTS = 07777;
constexpr mode_t GROUP_RIGHTS = 070;
constexpr int GROUP_SHIFT = 3;

[[noreturn]] void raise( const char* where, const OsFilePath& path ) {
    throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
}

bool failedWith( std::initializer_list<int> errors ) {
    return std::ranges::find( errors, errno ) != errors.end();
}

/// Where `path` leads if it names a link; else itself.
std::string followLink( const OsFilePath& path ) {
    const NativePath native( path );
    struct stat facts {};
    if( retry( [&] { return ::lstat( native.get(), &facts ); } ) != 0 && errno != ENOENT ) {
        raise( "OsFileReplacement::followLink", path );
    }
    if( !S_ISLNK( facts.st_mode ) ) {
        return native.get();
    }
    const std::unique_ptr<char, decltype( &std::free )> target( ::realpath( native.get(), nullptr ),
                                                                &std::free );
    if( target == nullptr ) {
        raise( "OsFileReplacement::followLink", path );
    }
    return target.get();
}

/// The directory of a path, up to its last separator, which stays where it is the root.
std::string getFolder( const std::string& path ) {
    const std::size_t end = path.rfind( '/' );
    return end == std::string::npos ? "." : path.substr( 0, std::max<std::size_t>( end, 1 ) );
}

/// A volume that can't sync this kind of file has nothing to be synced.
void sync( int file, const OsFilePath& path ) {
    if( retry( [&] { return ::fsync( file ); } ) != 0 && !failedWith( { EINVAL, EOPNOTSUPP } ) ) {
        raise( "OsFileReplacement::sync", path );
    }
}

} // namespace

/// All names are in `_folder`: nobody can lead them elsewhere by another directory of its name.
struct OsFileReplacement::Imp {
    explicit Imp( const OsFilePath& path )
        : Imp( followLink( path ) ) {}
    explicit Imp( const std::string& target );

    void adoptRights();
    void replaceFormer();
    void giveFreeName();
    void makeBackup( const std::string& name );
    void removeBackup();
    int unlink( const std::string& name ) const noexcept;

    const OsFilePath _path;
    const Descriptor _folder;
    const std::string _name;
    std::optional<struct stat> _former;
    std::optional<Descriptor> _file;
    /// Of the new file; empty when it doesn't exist or is committed.
    std::string _newName;
    /// Empty when there is none.
    std::string _backupName;
    bool _isCommitted = false;
};

OsFileReplacement::Imp::Imp( const std::string& target )
    : _path( target )
    , _folder( getFolder( target ).c_str(), O_RDONLY | O_DIRECTORY )
    , _name( target.substr( target.rfind( '/' ) + 1 ) ) {
    constexpr const char* WHERE = "OsFileReplacement::OsFileReplacement";
    if( !_folder.isOpen() ) {
        raise( WHERE, _path );
    }
    struct stat facts;
    if( retry( [&] {
            return ::fstatat( _folder.get(), _name.c_str(), &facts, AT_SYMLINK_NOFOLLOW );
        } ) == 0 ) {
        _former = facts;
    } else if( errno != ENOENT || _name.empty() ) {
        raise( WHERE, _path );
    }
    if( _former && !S_ISREG( _former->st_mode ) ) {
        throw ExSysErrorGeneric( QV_HERE, "Only a regular file can be replaced", WHERE,
                                 _path.getChars() );
    }
}

/// Before anything is written, so that nobody reads what the former file wouldn't have shown.
void OsFileReplacement::Imp::adoptRights() {
    constexpr const char* WHERE = "OsFileReplacement::adoptRights";
    const int file = _file->get();
    struct stat facts;
    if( retry( [&] { return ::fstat( file, &facts ); } ) != 0 ) {
        raise( WHERE, _path );
    }
    const auto changeOwner = [&]( uid_t owner, gid_t group ) {
        return retry( [&] { return ::fchown( file, owner, group ); } ) == 0;
    };
    constexpr auto UNCHANGED = static_cast<uid_t>( -1 );
    mode_t mode = _former->st_mode & RIGHTS;
    if( facts.st_uid != _former->st_uid && !changeOwner( _former->st_uid, UNCHANGED ) ) {
        throw ExSysErrorGeneric( QV_HERE, "The file would change its owner", WHERE,
                                 _path.getChars() );
    }
    if( facts.st_gid != _former->st_gid && !changeOwner( UNCHANGED, _former->st_gid ) ) {
        mode = ( mode & ~GROUP_RIGHTS ) | ( ( mode << GROUP_SHIFT ) & GROUP_RIGHTS );
    }
    if( retry( [&] { return ::fchmod( file, mode ); } ) != 0 ) {
        raise( WHERE, _path );
    }
}

void OsFileReplacement::Imp::makeBackup( const std::string& name ) {
    constexpr const char* WHERE = "OsFileReplacement::makeBackup";
    if( unlink( name ) != 0 && errno != ENOENT ) {
        raise( WHERE, _path );
    }
    if( retry( [&] {
            return ::linkat( _folder.get(), _name.c_str(), _folder.get(), name.c_str(), 0 );
        } ) == 0 ) {
        _backupName = name;
    } else if( !failedWith( { EPERM, EOPNOTSUPP, ENOSYS, EMLINK } ) ) {
        raise( WHERE, _path );
    }
}

void OsFileReplacement::Imp::removeBackup() {
    if( !_backupName.empty() && unlink( _backupName ) != 0 ) {
        raise( "OsFileReplacement::removeBackup", _path );
    }
    _backupName.clear();
}

void OsFileReplacement::Imp::replaceFormer() {
    if( retry( [&] {
            return ::renameat( _folder.get(), _newName.c_str(), _folder.get(), _name.c_str() );
        } ) != 0 ) {
        const ExSysErrorWindows failure( QV_HERE, "OsFileReplacement::replaceFormer",
                                         _path.getChars() );
        removeBackup();
        throw failure;
    }
    _newName.clear();
}

/// Where there was no file, one that has come meanwhile stays. Not every volume can refuse a rename
/// for that, and not every one knows links.
void OsFileReplacement::Imp::giveFreeName() {
    constexpr const char* WHERE = "OsFileReplacement::giveFreeName";
    const int folder = _folder.get();
    const auto rename = [&] {
        return ::renameat2( folder, _newName.c_str(), folder, _name.c_str(), RENAME_NOREPLACE );
    };
    const auto link = [&] {
        return ::linkat( folder, _newName.c_str(), folder, _name.c_str(), 0 );
    };
    if( retry( rename ) == 0 ) {
        _newName.clear();
        return;
    }
    // Linked, it loses its first name with this object.
    if( failedWith( { EINVAL, ENOSYS } ) && retry( link ) == 0 ) {
        return;
    }
    if( errno == EEXIST ) {
        throw OsFileEx::ExFileExists( QV_HERE, WHERE, _path );
    }
    raise( WHERE, _path );
}

int OsFileReplacement::Imp::unlink( const std::string& name ) const noexcept {
    return retry( [&] { return ::unlinkat( _folder.get(), name.c_str(), 0 ); } );
}

OsFileReplacement::OsFileReplacement( const OsFilePath& path )
    : _imp( std::make_unique<Imp>( path ) ) {}

OsFileReplacement::~OsFileReplacement() {
    if( _imp->_newName.empty() || _imp->unlink( _imp->_newName ) == 0 ) {
        return;
    }
    try {
        raise( "OsFileReplacement::~OsFileReplacement",
               _imp->_path.getDirectoryName() + _imp->_newName );
    } catch( ... ) {
        Trace::printCurrentException( "OsFileReplacement::~OsFileReplacement", QV_HERE );
    }
}

bool OsFileReplacement::isReplacing() const noexcept {
    return _imp->_former.has_value();
}

const OsFilePath& OsFileReplacement::getPath() const noexcept {
    return _imp->_path;
}

void OsFileReplacement::create() {
    const std::string name = '.' + Uuid( Uuid::CREATE ).toString();
    // What is to get another file's rights is nobody else's until it has them.
    const mode_t mode = isReplacing() ? 0600 : 0666;
    _imp->_file.emplace( _imp->_folder.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode );
    if( !_imp->_file->isOpen() ) {
        raise( "OsFileReplacement::create", _imp->_path );
    }
    _imp->_newName = name;
    if( isReplacing() ) {
        _imp->adoptRights();
    }
}

void OsFileReplacement::write( const void* data, unsigned long long size ) {
    QV_ASSERT( _imp->_file.has_value() );
    const auto* rest = static_cast<const char*>( data );
    while( size > 0 ) {
        const OsFileCalls::Moved moved = OsFileCalls::write( _imp->_file->get(), rest, size );
        if( moved.outcome != OsFileCalls::Outcome::MOVED ) {
            raise( "OsFileReplacement::write", _imp->_path );
        }
        rest += moved.count;
        size -= moved.count;
    }
}

void OsFileReplacement::commit( const std::string& backupName ) {
    QV_ASSERT( _imp->_file.has_value() );
    sync( _imp->_file->get(), _imp->_path );
    if( !OsFileCalls::close( _imp->_file->release() ) ) {
        raise( "OsFileReplacement::commit", _imp->_path );
    }
    if( isReplacing() ) {
        if( !backupName.empty() ) {
            _imp->makeBackup( backupName );
        }
        _imp->replaceFormer();
    } else {
        _imp->giveFreeName();
    }
    _imp->_isCommitted = true;
    sync( _imp->_folder.get(), _imp->_path );
}

bool OsFileReplacement::isCommitted() const noexcept {
    return _imp->_isCommitted;
}

bool OsFileReplacement::hasBackup() const noexcept {
    return !_imp->_backupName.empty();
}

void OsFileReplacement::removeBackup() {
    _imp->removeBackup();
}

} // namespace Qv
