#include <resmgt/content/src/ctCacheWalk.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <base/files/descriptorPosix.h>
#include <resmgt/content/src/ctTileNames.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr const char* WHERE = "CtCacheWalk::run";

[[noreturn]] void raise( const std::string& path ) {
    throw ExSysErrorWindows( QV_HERE, WHERE, path.c_str() );
}

/// The entries of an open directory.
class Entries {
public:
    Entries( Descriptor folder, const std::string& path )
        : _path( path )
        , _stream( ::fdopendir( folder.get() ) ) {
        if( _stream == nullptr ) {
            raise( path );
        }
        static_cast<void>( folder.release() );
    }

    /// Null at the end. Neither "." nor "..".
    const dirent* next() {
        const dirent* entry = nullptr;
        do {
            errno = 0;
            entry = ::readdir( _stream.get() );
        } while( entry != nullptr && ( std::strcmp( entry->d_name, "." ) == 0 ||
                                       std::strcmp( entry->d_name, ".." ) == 0 ) );
        if( entry == nullptr && errno != 0 ) {
            raise( _path );
        }
        return entry;
    }
    int folder() const { return ::dirfd( _stream.get() ); }

private:
    struct Closer {
        void operator()( DIR* stream ) const noexcept { ::closedir( stream ); }
    };

    const std::string _path;
    const std::unique_ptr<DIR, Closer> _stream;
};

bool look( int folder, const char* name, struct stat& facts ) {
    return ::fstatat( folder, name, &facts, AT_SYMLINK_NOFOLLOW ) == 0;
}

/// As a directory's entry has it; asks for it where the volume doesn't say.
unsigned char getType( int folder, const dirent& entry ) {
    struct stat facts {};
    if( entry.d_type != DT_UNKNOWN || !look( folder, entry.d_name, facts ) ) {
        return entry.d_type;
    }
    return static_cast<unsigned char>( IFTODT( facts.st_mode ) );
}

class Walk {
public:
    Walk( CtCacheWalk::Sizes sizes, const CtCacheWalk::Visit& visit )
        : _sizes( sizes )
        , _visit( visit ) {}

    void enter( Entries entries, const std::string& prefix, std::uint32_t level ) {
        while( const dirent* const entry = entries.next() ) {
            const std::string name = entry->d_name;
            const unsigned char type = getType( entries.folder(), *entry );
            if( type == DT_DIR && level < CtTileNames::MOST_LEVELS &&
                CtTileNames::isLevel( name ) ) {
                visitLevel( entries.folder(), prefix, name, level );
            } else {
                visitFile( entries.folder(), prefix, name, type == DT_REG, level );
            }
        }
    }

    std::uint64_t nbGone() const noexcept { return _nbGone; }

private:
    void visitLevel( int folder, const std::string& prefix, const std::string& name,
                     std::uint32_t level ) {
        Descriptor child( folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW );
        if( child.isOpen() ) {
            enter( Entries( std::move( child ), prefix + name ), prefix + name + '/', level + 1 );
        } else if( errno != ENOENT && errno != ENOTDIR ) {
            raise( prefix + name );
        }
        decide( folder, { CtCacheEntry::LEVEL, prefix + name, CtSerialId(), 0 }, name,
                AT_REMOVEDIR );
    }

    void visitFile( int folder, const std::string& prefix, const std::string& name, bool isFile,
                    std::uint32_t level ) {
        CtCacheEntry entry{ CtCacheEntry::FOREIGN, prefix + name, CtSerialId(), 0 };
        struct stat facts {};
        const auto id = CtTileNames::parseName( name );
        if( isFile && id ) {
            entry.kind = CtCacheEntry::BLOCK;
            entry.id = *id;
            if( _sizes == CtCacheWalk::Sizes::ASKED_FOR && look( folder, name.c_str(), facts ) ) {
                entry.size = static_cast<std::uint64_t>( facts.st_size );
            }
        } else if( isFile && level == 0 && CtTileNames::isProbe( name ) ) {
            entry.kind = CtCacheEntry::PROBE;
        } else if( isFile && level == 0 && name == CtTileNames::INDEX ) {
            entry.kind = CtCacheEntry::INDEX;
        }
        decide( folder, entry, name, 0 );
    }

    void decide( int folder, const CtCacheEntry& entry, const std::string& name, int how ) {
        if( _visit( entry ) == CtCacheWalk::Fate::STAYS ) {
            return;
        }
        if( ::unlinkat( folder, name.c_str(), how ) == 0 ) {
            ++_nbGone;
        } else if( errno != ENOENT && errno != ENOTEMPTY && errno != EEXIST ) {
            raise( entry.path );
        }
    }

    const CtCacheWalk::Sizes _sizes;
    const CtCacheWalk::Visit& _visit;
    std::uint64_t _nbGone = 0;
};

Entries openDirectory( const OsFilePath& directory ) {
    Descriptor folder( directory.getChars(), O_RDONLY | O_DIRECTORY );
    if( !folder.isOpen() ) {
        raise( directory.toString() );
    }
    return Entries( std::move( folder ), directory.toString() );
}

} // namespace

std::uint64_t CtCacheWalk::run( const OsFilePath& directory, Sizes sizes, const Visit& visit ) {
    Walk walk( sizes, visit );
    walk.enter( openDirectory( directory ), "", 0 );
    return walk.nbGone();
}

void CtCacheWalk::listFiles( const OsFilePath& directory,
                             const std::function<void( const char* name )>& visit ) {
    Entries entries = openDirectory( directory );
    while( const dirent* const entry = entries.next() ) {
        if( getType( entries.folder(), *entry ) == DT_REG ) {
            visit( entry->d_name );
        }
    }
}

} // namespace Qv
