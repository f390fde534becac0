#include <tools/qvcache/verify.h>

#include <base/files/descriptorPosix.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv::Cache {

namespace {

constexpr std::size_t CHUNK = std::size_t{ 1 } << 20;
constexpr unsigned int MOST_BITS = 12;

std::string_view getName( const std::string& path ) {
    return std::string_view( path ).substr( path.rfind( '/' ) + 1 );
}

/// The numbers of the directories that lead to the entry.
std::vector<std::uint64_t> getLevels( const std::string& path ) {
    std::vector<std::uint64_t> levels;
    std::size_t begin = 0;
    for( std::size_t end; ( end = path.find( '/', begin ) ) != std::string::npos;
         begin = end + 1 ) {
        levels.push_back( std::stoull( path.substr( begin, end - begin ) ) );
    }
    return levels;
}

bool leadsThere( CtSerialId id, const std::vector<std::uint64_t>& levels, unsigned int bits ) {
    std::uint64_t rest{ id };
    return std::ranges::all_of( levels, [&]( std::uint64_t level ) {
        const bool isRight = level == ( rest & ( ( std::uint64_t{ 1 } << bits ) - 1 ) );
        rest >>= bits;
        return isRight;
    } );
}

bool isInItsPlace( const CtCacheEntry& block ) {
    const std::vector<std::uint64_t> levels = getLevels( block.path );
    for( unsigned int bits = 0; bits <= MOST_BITS; ++bits ) {
        if( leadsThere( block.id, levels, bits ) ) {
            return true;
        }
    }
    return false;
}

/// Digits, "-", digits.
bool looksLikeABlock( std::string_view name ) {
    constexpr std::string_view DIGITS = "0123456789";
    const std::size_t hyphen = name.find_first_not_of( DIGITS );
    return hyphen != 0 && hyphen < name.size() - 1 && name[hyphen] == '-' &&
           name.find_first_not_of( DIGITS, hyphen + 1 ) == std::string_view::npos;
}

std::string cantBeRead() {
    return "can't be read: " + std::generic_category().message( errno );
}

class Verification {
public:
    Verification( const OsFilePath& directory,
                  const std::function<void( std::uint64_t )>& progress )
        : _directory( directory.toString() )
        , _folder( _directory.c_str(), O_RDONLY | O_DIRECTORY )
        , _progress( progress ) {}

    void visit( const CtCacheEntry& entry ) {
        if( entry.kind == CtCacheEntry::FOREIGN && looksLikeABlock( getName( entry.path ) ) ) {
            note( entry, "looks like a block and is none" );
        }
        if( entry.kind != CtCacheEntry::BLOCK ) {
            return;
        }
        if( !isInItsPlace( entry ) ) {
            note( entry, "is in a directory to which its number doesn't lead" );
        }
        if( !_ids.insert( entry.id ).second ) {
            note( entry, "is a second file of one block" );
        }
        read( entry );
    }

    std::vector<Fault> takeFaults() { return std::move( _faults ); }

private:
    void note( const CtCacheEntry& entry, const std::string& text ) {
        _faults.push_back( { entry.path, text } );
    }

    void read( const CtCacheEntry& block ) {
        const Descriptor file( _folder.get(), block.path.c_str(),
                               O_RDONLY | O_NOFOLLOW | O_NONBLOCK );
        struct stat facts {};
        if( !file.isOpen() || ::fstat( file.get(), &facts ) != 0 ) {
            if( errno != ENOENT ) {
                note( block, cantBeRead() );
            }
            return;
        }
        const auto size = static_cast<std::uint64_t>( facts.st_size );
        if( size > MOST_BYTES ) {
            note( block, "is larger than a block can be" );
            return;
        }
        const std::uint64_t before = _nbBytes;
        if( !readToEnd( file.get() ) ) {
            note( block, cantBeRead() );
        } else if( _nbBytes - before < size && ::fstat( file.get(), &facts ) == 0 &&
                   size <= static_cast<std::uint64_t>( facts.st_size ) ) {
            note( block, "ends before its size" );
        }
    }

    bool readToEnd( int file ) {
        for( ;; ) {
            const ssize_t count = ::read( file, _buffer.data(), _buffer.size() );
            if( count < 0 && errno == EINTR ) {
                continue;
            }
            if( count <= 0 ) {
                return count == 0;
            }
            _nbBytes += static_cast<std::uint64_t>( count );
            _progress( _nbBytes );
        }
    }

    /// 32 bits of bytes, and what rounds them up to a unit of any volume.
    static constexpr std::uint64_t MOST_BYTES = ( std::uint64_t{ 1 } << 32 ) + ( 1U << 31 );

    const std::string _directory;
    const Descriptor _folder;
    const std::function<void( std::uint64_t )>& _progress;
    std::vector<char> _buffer = std::vector<char>( CHUNK );
    std::uint64_t _nbBytes = 0;
    std::set<CtSerialId> _ids;
    std::vector<Fault> _faults;
};

} // namespace

std::vector<Fault> verify( const OsFilePath& directory, const Survey& survey,
                           const std::function<void( std::uint64_t )>& progress ) {
    Verification verification( directory, progress );
    for( const CtCacheEntry& entry : survey.entries ) {
        verification.visit( entry );
    }
    return verification.takeFaults();
}

} // namespace Qv::Cache
