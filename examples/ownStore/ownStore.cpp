// A store of one's own: it keeps blocks in memory, packed, and takes the place of the media cache
// for configurations that begin with "packed://". The engine above it makes the asynchronous
// requests. A factory object is all that the program needs to link.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/content/ctNonAsyncServer.h>
#include <resmgt/content/ctServerFactory.h>
#include <resmgt/locks/lkAsyncHandle.h>
#include <resmgt/locks/lkEvent.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <list>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr unsigned int TILE_SIZE = 64 * 1024;
constexpr int NB_TILES = 64;

// Runs of equal bytes: a length of 1 to 255 and the byte.
std::string pack( const char* bytes, unsigned int size ) {
    std::string packed;
    for( const char *run = bytes, *const end = bytes + size; run != end; ) {
        const char* const last = std::min( end, run + 255 );
        const char* const next = std::find_if( run, last, [run]( char c ) { return c != *run; } );
        packed += { static_cast<char>( next - run ), *run };
        run = next;
    }
    return packed;
}

void unpack( const std::string& packed, char* bytes ) {
    for( std::size_t i = 0; i < packed.size(); i += 2 ) {
        bytes = std::fill_n( bytes, static_cast<unsigned char>( packed[i] ), packed[i + 1] );
    }
}

// Blocks are read and written whole. One mutex serves here; a store with slow calls would hold none
// during them, since the engine makes several at the same time.
class PackedStore : public Qv::CtNonAsyncServer {
public:
    explicit PackedStore( const Qv::LiString& configuration )
        : CtNonAsyncServer( configuration ) {}
    // While the operations below are still there.
    ~PackedStore() override {
        drain();
        std::printf( "the store has ended, with %zu blocks\n", _blocks.size() );
    }

    std::uint64_t getFreeSpace() const override { return UNKNOWN_SPACE; }
    unsigned int getBlockSize() const override { return 1; }
    unsigned int getAlignment() const override { return 1; }
    unsigned int getNbSerialIds() const override {
        const std::lock_guard guard( _mutex );
        return static_cast<unsigned int>( _blocks.size() );
    }
    Qv::OPtrRet<Qv::Set<Qv::CtSerialId>> getSerialIds() const override {
        Qv::OPtr<Qv::Set<Qv::CtSerialId>> ids( new Qv::Set<Qv::CtSerialId> );
        const std::lock_guard guard( _mutex );
        for( const auto& [id, block] : _blocks ) {
            ids->insert( id );
        }
        return ids;
    }
    NewTile createTile( unsigned int size ) override {
        const std::string zeros( size, '\0' );
        const std::lock_guard guard( _mutex );
        const Qv::CtSerialId id( ++_lastId );
        _blocks[id] = { size, pack( zeros.data(), size ) };
        return { Qv::CtStTileId( id, size ), {} };
    }
    void removeTile( const Qv::CtSerialId& id ) override {
        const std::lock_guard guard( _mutex );
        if( _blocks.erase( id ) == 0 ) {
            throw std::runtime_error( "there is no such block" );
        }
    }
    bool isValid( const Qv::CtStTileId& tile, int mode ) const override {
        const std::lock_guard guard( _mutex );
        const auto place = _blocks.find( tile.getSerialId() );
        return place != _blocks.end() &&
               ( mode == ANY_SIZE || place->second.size == tile.getSize() );
    }
    void clear() override {
        const std::lock_guard guard( _mutex );
        _blocks.clear();
    }
    std::size_t getPackedSize() const {
        const std::lock_guard guard( _mutex );
        std::size_t size = 0;
        for( const auto& [id, block] : _blocks ) {
            size += block.packed.size();
        }
        return size;
    }

protected:
    // Nothing to keep open: the caller's hint will do.
    Qv::CtHintPtr makeReadHint( const Qv::CtPxTileId& tile, const Qv::CtHintPtr& hint ) override {
        const std::lock_guard guard( _mutex );
        find( tile );
        return hint;
    }
    Qv::CtHintPtr makeWriteHint( const Qv::CtPxTileId& tile, const Qv::CtHintPtr& hint ) override {
        return makeReadHint( tile, hint );
    }
    void readImp( const Qv::CtPxTileId& tile, void* memory, const Qv::CtHintPtr& ) override {
        const std::lock_guard guard( _mutex );
        unpack( find( tile ).packed, static_cast<char*>( memory ) );
    }
    void writeImp( const Qv::CtPxTileId& tile, const void* memory, const Qv::CtHintPtr& ) override {
        std::string packed = pack( static_cast<const char*>( memory ), tile.getSize() );
        const std::lock_guard guard( _mutex );
        find( tile ).packed = std::move( packed );
    }

private:
    struct Block {
        unsigned int size = 0;
        std::string packed;
    };

    Block& find( const Qv::CtPxTileId& tile ) {
        const auto place = _blocks.find( tile.getSerialId() );
        if( place == _blocks.end() || tile.getOffset() != 0 ||
            tile.getSize() != place->second.size ) {
            throw std::runtime_error( "there is no such block" );
        }
        return place->second;
    }

    mutable std::mutex _mutex;
    std::map<Qv::CtSerialId, Block> _blocks;
    std::uint64_t _lastId = 0;
};

// Registers the store.
class PackedStoreFactory : public Qv::CtServerFactory {
    bool canHandle( const Qv::LiString& configuration ) override {
        return configuration.starts_with( "packed://" );
    }
    Qv::CtServer* create( const Qv::LiString& configuration ) override {
        return new PackedStore( configuration );
    }
} factory;

// A tile of the application: what it holds, its block, and the end of its last request.
class Tile : public Qv::LkAsyncHandle {
public:
    Tile( Qv::CtServer& server, char colour )
        : memory( TILE_SIZE, colour )
        , _server( server )
        , _id( server.createTile( TILE_SIZE ).tile.getSerialId(), 0, TILE_SIZE ) {}

    void save() {
        _ended.reset();
        _server.asyncWrite( _id, memory.data(), {}, this );
    }
    void load() {
        _ended.reset();
        _server.asyncRead( _id, memory.data(), {}, this );
    }
    // Returns when the request has ended; the tile may go then.
    void wait() {
        _ended.wait();
        if( _hasFailed ) {
            throw std::runtime_error( "a tile could not be moved" );
        }
    }

    std::vector<char> memory;

private:
    void asyncSucceeded() override { _ended.set(); }
    void asyncFailed() override {
        _hasFailed = true;
        _ended.set();
    }

    Qv::CtServer& _server;
    const Qv::CtPxTileId _id;
    bool _hasFailed = false;
    Qv::LkEvent _ended{ "tile", false };
};

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    Qv::CtServer::configure( "packed://example" );
    Qv::CtServer& server = Qv::CtServer::getInstance();

    std::list<Tile> tiles;
    for( int i = 0; i < NB_TILES; ++i ) {
        tiles.emplace_back( server, static_cast<char>( i ) ).save();
    }
    for( Tile& tile : tiles ) {
        tile.wait();
        tile.memory.assign( TILE_SIZE, '?' );
        tile.load();
    }
    int nbSame = 0;
    char colour = 0;
    for( Tile& tile : tiles ) {
        tile.wait();
        nbSame += tile.memory == std::vector<char>( TILE_SIZE, colour++ ) ? 1 : 0;
    }

    const Qv::CtCounters counters = server.getCounters();
    std::printf( "%llu writes and %llu reads of %u bytes, kept in %zu bytes\n"
                 "%d of %d tiles came back as they were\n",
                 static_cast<unsigned long long>( counters.nbWrites ),
                 static_cast<unsigned long long>( counters.nbReads ), TILE_SIZE,
                 dynamic_cast<const PackedStore&>( server ).getPackedSize(), nbSame, NB_TILES );
    return nbSame == NB_TILES ? 0 : 1;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "ownStore: %s\n", Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
