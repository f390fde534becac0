#include <resmgt/content/src/ctTileFolder.h>

#include <base/files/descriptorPosix.h>
#include <base/files/retryPosix.h>
#include <resmgt/content/src/ctTileNames.h>

#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr mode_t LEVEL_MODE = 0755;
constexpr mode_t FILE_MODE = 0666;
constexpr int HOW_TO_OPEN = O_NOFOLLOW | O_NONBLOCK;

/// How often an operation is begun again when others make and remove what it needs.
constexpr int MOST_ATTEMPTS = 100;

int toDescriptor( OsFileTypes::Handle handle ) {
    return static_cast<int>( handle );
}

bool getFacts( int file, struct stat& facts ) {
    return retry( [&] { return ::fstat( file, &facts ); } ) == 0;
}

bool look( int folder, const char* name, struct stat& facts ) {
    return retry( [&] { return ::fstatat( folder, name, &facts, AT_SYMLINK_NOFOLLOW ); } ) == 0;
}

/// False with the error that `isMissing` knows.
bool isRegular( const struct stat& facts ) {
    errno = S_ISDIR( facts.st_mode ) ? EISDIR : S_ISLNK( facts.st_mode ) ? ELOOP : ENXIO;
    return S_ISREG( facts.st_mode );
}

/// Opens a regular file that is there. Looks before: to open a pipe would be seen at its other end.
/// What takes its place meanwhile gains nothing: transfers at an offset fail on it.
Descriptor openFile( int folder, const char* name, int flags ) {
    struct stat facts {};
    return look( folder, name, facts ) && isRegular( facts )
               ? Descriptor( folder, name, flags | HOW_TO_OPEN )
               : Descriptor( -1 );
}

Descriptor makeFile( int folder, const char* name ) {
    return Descriptor( folder, name, O_RDWR | O_CREAT | O_EXCL | HOW_TO_OPEN, FILE_MODE );
}

Descriptor openOrMakeFile( int folder, const char* name ) {
    for( int attempt = 0;; ++attempt ) {
        Descriptor found = openFile( folder, name, O_RDWR );
        if( found.isOpen() || errno != ENOENT || attempt == MOST_ATTEMPTS ) {
            return found;
        }
        Descriptor made = makeFile( folder, name );
        if( made.isOpen() || errno != EEXIST ) {
            return made;
        }
    }
}

bool removeFile( int folder, const char* name ) {
    return retry( [&] { return ::unlinkat( folder, name, 0 ); } ) == 0;
}

std::string withSeparator( std::string text ) {
    return text.ends_with( '/' ) ? std::move( text ) : std::move( text ) + '/';
}

} // namespace

/// The name of a block's file, and the folder that it is in.
class CtTileFolder::Place {
public:
    /// Goes down the levels; stays where it got to after a failure.
    Place( const CtTileFolder& cache, CtSerialId id, bool makesLevels )
        : _name( CtTileNames::makeName( id ) ) {
        if( cache._nbLevels == 0 ) {
            _name.insert( 0, cache._root );
            _isReached = true;
            return;
        }
        _folder = Descriptor( cache._root.c_str(), O_PATH | O_DIRECTORY );
        std::uint64_t rest = id;
        const std::uint64_t mask = ( std::uint64_t( 1 ) << cache._nbBits ) - 1;
        for( std::uint32_t i = 0; i < cache._nbLevels && _folder.isOpen(); ++i ) {
            enter( std::to_string( rest & mask ).c_str(), makesLevels );
            rest >>= cache._nbBits;
        }
        _isReached = _folder.isOpen();
    }

    bool isReached() const noexcept { return _isReached; }
    /// Where the name begins: with the path of the directory itself where there are no levels.
    int folder() const noexcept { return _folder.isOpen() ? _folder.get() : AT_FDCWD; }
    const char* name() const noexcept { return _name.c_str(); }

private:
    void enter( const char* level, bool makesLevel ) {
        constexpr int HOW = O_PATH | O_DIRECTORY | O_NOFOLLOW;
        Descriptor next( _folder.get(), level, HOW );
        if( !next.isOpen() && errno == ENOENT && makesLevel ) {
            const int folder = _folder.get();
            if( retry( [&] { return ::mkdirat( folder, level, LEVEL_MODE ); } ) == 0 ||
                errno == EEXIST ) {
                next = Descriptor( folder, level, HOW );
            }
        }
        _folder = std::move( next );
    }

    std::string _name;
    Descriptor _folder{ -1 };
    bool _isReached = false;
};

CtTileFolder::CtTileFolder( const OsFilePath& root, std::uint32_t nbLevels, std::uint32_t nbBits )
    : _root( withSeparator( root.toString() ) )
    , _nbLevels( nbLevels )
    , _nbBits( nbBits ) {}

OsFilePath CtTileFolder::getPath( CtSerialId id ) const {
    std::string path = _root;
    std::uint64_t rest = id;
    for( std::uint32_t i = 0; i < _nbLevels; ++i ) {
        path += std::to_string( rest & ( ( std::uint64_t( 1 ) << _nbBits ) - 1 ) ) + '/';
        rest >>= _nbBits;
    }
    return OsFilePath( path + CtTileNames::makeName( id ) );
}

/// Calls `operation( folder, name )`, which answers a Descriptor, at the block's place, and makes
/// the levels; begins again when another process has removed an empty one meanwhile.
template <class Operation>
Descriptor CtTileFolder::perform( CtSerialId id, std::optional<Place>& place,
                                  const Operation& operation ) const {
    for( int attempt = 0;; ++attempt ) {
        place.emplace( *this, id, true );
        Descriptor file =
            place->isReached() ? operation( place->folder(), place->name() ) : Descriptor( -1 );
        const bool isWorthIt = _nbLevels > 0 && errno == ENOENT && attempt < MOST_ATTEMPTS;
        if( file.isOpen() || !isWorthIt ) {
            return file;
        }
    }
}

CtTileFile CtTileFolder::openForReading( CtSerialId id ) const {
    const Place place( *this, id, false );
    return place.isReached()
               ? CtTileFile( openFile( place.folder(), place.name(), O_RDONLY ).release() )
               : CtTileFile();
}

CtTileFile CtTileFolder::openOrMake( CtSerialId id ) const {
    std::optional<Place> place;
    return CtTileFile( perform( id, place, openOrMakeFile ).release() );
}

CtTileFolder::NewFile::NewFile( const CtTileFolder& folder, CtSerialId id )
    : _place( std::make_unique<std::optional<Place>>() ) {
    struct stat facts {};
    Descriptor file = folder.perform( id, *_place, makeFile );
    _isTaken = !file.isOpen() && errno == EEXIST;
    // An open file can always be asked; if not, it stays.
    if( file.isOpen() && getFacts( file.get(), facts ) ) {
        _volume = facts.st_dev;
        _number = facts.st_ino;
        _isKept = false;
    }
    _file = CtTileFile( file.release() );
}

CtTileFolder::NewFile::~NewFile() {
    struct stat facts {};
    const int error = errno;
    if( !_isKept && look( ( *_place )->folder(), ( *_place )->name(), facts ) &&
        facts.st_dev == _volume && facts.st_ino == _number ) {
        removeFile( ( *_place )->folder(), ( *_place )->name() );
    }
    errno = error;
}

bool CtTileFolder::remove( CtSerialId id ) const {
    struct stat facts {};
    const Place place( *this, id, false );
    return place.isReached() && look( place.folder(), place.name(), facts ) && isRegular( facts ) &&
           removeFile( place.folder(), place.name() );
}

std::optional<std::uint64_t> CtTileFolder::getSize( CtSerialId id ) const {
    struct stat facts {};
    const Place place( *this, id, false );
    const bool isBlock =
        place.isReached() && look( place.folder(), place.name(), facts ) && isRegular( facts );
    return isBlock ? std::optional( static_cast<std::uint64_t>( facts.st_size ) ) : std::nullopt;
}

bool CtTileFolder::isMissing() {
    return errno == ENOENT || errno == ENOTDIR || errno == ELOOP || errno == EISDIR ||
           errno == ENXIO;
}

CtTileFile::~CtTileFile() {
    static_cast<void>( Descriptor( toDescriptor( _handle ) ) );
}

std::optional<std::uint64_t> CtTileFile::getSize( Handle handle ) {
    struct stat facts {};
    return getFacts( toDescriptor( handle ), facts )
               ? std::optional( static_cast<std::uint64_t>( facts.st_size ) )
               : std::nullopt;
}

bool CtTileFile::isRemoved( Handle handle ) {
    struct stat facts {};
    return getFacts( toDescriptor( handle ), facts ) && facts.st_nlink == 0;
}

} // namespace Qv
