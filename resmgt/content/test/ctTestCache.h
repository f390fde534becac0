#pragma once

#include <resmgt/content/ctCacheDirectory.h>
#include <resmgt/content/ctFileServer.h>
#include <resmgt/content/src/ctSessionFile.h>
#include <resmgt/content/src/ctTileNames.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/scopedEnvironment.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

/// What the tests of the media cache share.

namespace Qv {

/// As the index keeps a number.
inline std::string padded( const std::string& number ) {
    return number + std::string( CtSessionFile::LENGTH - 1 - number.size(), ' ' ) + "\n";
}

/// Collects the messages to the user while it lives.
class CollectedMessages {
public:
    CollectedMessages()
        : _former(
              MsgServer::getInstance().setManager( OPtr<MsgManager>( new Manager( _all ) ) ) ) {}
    ~CollectedMessages() {
        const OPtr<MsgManager> own( MsgServer::getInstance().setManager( _former ) );
    }

    /// One line each: the level and the text.
    std::vector<std::string> get() const {
        const std::lock_guard guard( _all.lock );
        return _all.texts;
    }
    /// Whether there was a warning that the index of the cache can't be kept.
    bool hasWarning( const std::string& directory ) const {
        const auto texts = get();
        return std::count( texts.begin(), texts.end(),
                           "3 Error reading/writing to " + directory +
                               "/.session_idx.\n  We may overwrite existing results in "
                               "mediacache." ) == 1;
    }

private:
    struct All {
        mutable std::mutex lock;
        std::vector<std::string> texts;
    };
    class Manager : public MsgManager {
    public:
        explicit Manager( All& all )
            : _all( all ) {}
        void display( const char* text, MsgTypes::Level level ) override {
            const std::lock_guard guard( _all.lock );
            _all.texts.push_back( std::to_string( level ) + " " + text );
        }

    private:
        All& _all;
    };

    All _all;
    OPtr<MsgManager> _former;
};

/// Environment variables, such as "QV_IO_LEVELS=2 QV_IO_BITS=8", until scope exit.
class ScopedSettings {
public:
    explicit ScopedSettings( const std::string& settings ) {
        std::istringstream all( settings );
        for( std::string one; all >> one; ) {
            const std::size_t end = one.find( '=' );
            _names.push_back( std::make_unique<std::string>( one.substr( 0, end ) ) );
            _variables.push_back( std::make_unique<ScopedEnvironment>(
                _names.back()->c_str(), one.substr( end + 1 ).c_str() ) );
        }
    }

private:
    std::vector<std::unique_ptr<std::string>> _names;
    std::vector<std::unique_ptr<ScopedEnvironment>> _variables;
};

/// A media cache in a directory of the test's own, without a server yet.
class TestCache : public TestFiles {
public:
    using TestFiles::TestFiles;

    std::unique_ptr<CtFileServer>
    start( const std::string& settings = "",
           const CtEngineOptions& options = CtEngineOptions::getConfigured() ) const {
        const ScopedSettings scope( settings );
        return std::make_unique<CtFileServer>( LiString( path().toString() ), options );
    }
    /// What a visitor of the whole directory sees, by kind.
    std::map<CtCacheEntry::Kind, std::set<std::string>> visit() const {
        std::map<CtCacheEntry::Kind, std::set<std::string>> found;
        CtCacheDirectory( path() ).visit( [&]( const CtCacheEntry& entry ) {
            EXPECT_TRUE( found[entry.kind].insert( entry.path ).second ) << entry.path;
        } );
        return found;
    }
    /// The paths of all files, links and empty directories.
    std::set<std::string> list() const {
        std::set<std::string> found;
        for( const auto& entry : fs::recursive_directory_iterator( at( "" ) ) ) {
            const bool isFull =
                entry.is_directory() && !entry.is_symlink() && !fs::is_empty( entry.path() );
            if( !isFull ) {
                found.insert( entry.path().lexically_relative( at( "" ) ).string() );
            }
        }
        return found;
    }
};

/// Memory as unbuffered transfers want it, between guards that each look checks.
class TestMemory {
public:
    /// Aligned as the server asks, and no better.
    TestMemory( const CtServer& server, std::size_t size, char fill = '?' )
        : TestMemory( size, fill, server.getAlignment() ) {}
    explicit TestMemory( std::size_t size, char fill = '?', std::size_t shift = 0 )
        : _size( size )
        , _all( static_cast<char*>( std::aligned_alloc( UNIT, room( size ) ) ) )
        , _bytes( _all.get() + UNIT + shift ) {
        std::fill_n( _all.get(), room( size ), GUARD );
        std::fill_n( _bytes, size, fill );
    }

    char* get() const { return _bytes; }
    std::string text() const {
        const char* const begin = _all.get();
        const auto nbBytes = static_cast<long>( room( _size ) - _size );
        EXPECT_EQ( std::count( begin, static_cast<const char*>( _bytes ), GUARD ) +
                       std::count( static_cast<const char*>( _bytes + _size ),
                                   begin + room( _size ), GUARD ),
                   nbBytes );
        return { _bytes, _size };
    }

private:
    static constexpr std::size_t UNIT = 4096;
    static constexpr char GUARD = '\x7f';

    static std::size_t room( std::size_t size ) { return ( size / UNIT + 4 ) * UNIT; }

    struct Free {
        void operator()( char* bytes ) const { std::free( bytes ); }
    };
    const std::size_t _size;
    const std::unique_ptr<char, Free> _all;
    char* const _bytes;
};

/// For a hook: nothing is waited for until it is on the disk, which a killed process's files
/// needn't be.
inline int withoutSync( const SystemCall& call ) {
    return std::string( call.name ) == "fsync" ? EINVAL : 0;
}

/// Without threads of its own, for a process that has been forked.
inline constexpr CtEngineOptions NO_WORKERS{ 0, 0, 2 };

/// Bytes that no other block has.
inline std::string contentOf( CtSerialId id, unsigned int size ) {
    std::string text;
    for( std::uint64_t word = std::uint64_t( id ) * 0x9e3779b97f4a7c15U + 1; text.size() < size;
         word = word * 6364136223846793005U + 1442695040888963407U ) {
        text.append( reinterpret_cast<const char*>( &word ), sizeof( word ) );
    }
    text.resize( size );
    return text;
}

inline CtPxTileId pieceOf( CtSerialId id, unsigned int offset, unsigned int size ) {
    return CtPxTileId( id, offset, size );
}

inline CtHintPtr writeBlock( CtServer& server, CtSerialId id, const std::string& text,
                             const CtHintPtr& hint = {}, unsigned int offset = 0 ) {
    const auto size = static_cast<unsigned int>( text.size() );
    const TestMemory memory( size );
    std::copy( text.begin(), text.end(), memory.get() );
    return server.write( pieceOf( id, offset, size ), memory.get(), hint );
}

inline std::string readBlock( CtServer& server, CtSerialId id, unsigned int size,
                              const CtHintPtr& hint = {}, unsigned int offset = 0 ) {
    const TestMemory memory( size );
    server.read( pieceOf( id, offset, size ), memory.get(), hint );
    return memory.text();
}

} // namespace Qv
