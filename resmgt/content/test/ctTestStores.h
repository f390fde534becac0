#pragma once

#include <resmgt/content/ctNonAsyncServer.h>
#include <resmgt/content/ctServerFactory.h>
#include <resmgt/locks/lkAsyncHandle.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Qv {

/// Blocks in memory, on which the two stores below are built. A removed block lives on for those
/// who have found it.
class MemoryBlocks {
public:
    using Block = std::vector<char>;

    CtStTileId make( unsigned int size );
    void remove( CtSerialId id );
    void clear();
    std::shared_ptr<Block> find( CtSerialId id ) const;
    bool isValid( const CtStTileId& tile, int mode ) const;
    OPtrRet<Set<CtSerialId>> getIds() const;
    static char* getPiece( Block& block, const CtPxTileId& tile );

private:
    mutable std::mutex _mutex;
    std::map<CtSerialId, std::shared_ptr<Block>> _blocks;
    std::uint64_t _nbMade = 0;
};

/// Keeps a block, as a file's hint keeps the file.
struct MemoryHint : CtHint {
    MemoryHint( CtSerialId serialId, std::shared_ptr<MemoryBlocks::Block> kept,
                const RCShdPtr<CtTally>& tally )
        : id( serialId )
        , block( std::move( kept ) )
        , open( tally ) {}

    const CtSerialId id;
    const std::shared_ptr<MemoryBlocks::Block> block;
    const CtTally::OpenFile open;
};

/// What a store in memory answers, of whatever kind it is.
template <class Base>
class MemoryStore : public Base {
public:
    using Base::Base;

    std::uint64_t getFreeSpace() const override { return CtServer::UNKNOWN_SPACE; }
    unsigned int getBlockSize() const override { return 1; }
    unsigned int getAlignment() const override { return 1; }
    unsigned int getNbSerialIds() const override {
        return static_cast<unsigned int>( OPtr<Set<CtSerialId>>( getSerialIds() )->size() );
    }
    OPtrRet<Set<CtSerialId>> getSerialIds() const override { return _blocks.getIds(); }
    CtServer::NewTile createTile( unsigned int size ) override {
        return { _blocks.make( size ), {} };
    }
    void removeTile( const CtSerialId& id ) override { _blocks.remove( id ); }
    bool isValid( const CtStTileId& tile, int mode ) const override {
        return _blocks.isValid( tile, mode );
    }
    void clear() override { _blocks.clear(); }

protected:
    CtHintPtr makeHint( const CtPxTileId& tile, const CtHintPtr& hint ) {
        const auto* const own = dynamic_cast<const MemoryHint*>( hint.get() );
        if( own != nullptr && own->id == tile.getSerialId() ) {
            return hint;
        }
        return CtHintPtr( new MemoryHint( tile.getSerialId(), _blocks.find( tile.getSerialId() ),
                                          this->getTally() ) );
    }
    static char* getPiece( const CtPxTileId& tile, const CtHintPtr& hint ) {
        return MemoryBlocks::getPiece( *dynamic_cast<const MemoryHint&>( *hint ).block, tile );
    }

private:
    MemoryBlocks _blocks;
};

/// A store whose calls block.
class BlockingStore : public MemoryStore<CtNonAsyncServer> {
public:
    explicit BlockingStore( const LiString& configuration,
                            const CtEngineOptions& options = CtEngineOptions::getConfigured() )
        : MemoryStore( configuration, options ) {}
    ~BlockingStore() override {
        if( mustDrain ) {
            drain();
        }
    }

    /// Runs in each transfer, before the bytes are moved.
    std::function<void( const CtPxTileId& )> onTransfer;
    bool mustDrain = true;

protected:
    CtHintPtr makeReadHint( const CtPxTileId& tile, const CtHintPtr& hint ) override {
        return makeHint( tile, hint );
    }
    CtHintPtr makeWriteHint( const CtPxTileId& tile, const CtHintPtr& hint ) override {
        return makeHint( tile, hint );
    }
    void readImp( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) override;
    void writeImp( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) override;
};

/// A store whose requests are all for one block, of which each uses a byte.
class OneBlockStore : public BlockingStore {
public:
    explicit OneBlockStore( const CtEngineOptions& options )
        : BlockingStore( "memory://engine", options )
        , _id( createTile( SIZE ).tile.getSerialId() ) {}
    ~OneBlockStore() override { drain(); }

    CtPxTileId at( unsigned int offset ) const { return CtPxTileId( _id, offset, 1 ); }
    CtHintPtr submit( unsigned int offset, LkAsyncHandle& handle ) {
        return asyncRead( at( offset ), &_memory[offset], {}, &handle );
    }
    void readAt( unsigned int offset ) {
        char byte;
        read( at( offset ), &byte, {} );
    }

private:
    static constexpr unsigned int SIZE = 1000;

    const CtSerialId _id;
    char _memory[SIZE] = {};
};

/// A store whose completions come from the thread of an event loop, as those of a connection to
/// another machine do.
class EventStore : public MemoryStore<CtServer> {
public:
    explicit EventStore( const LiString& configuration );
    ~EventStore() override;

    void blockUntilProcessed() override;
    CtHintPtr read( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) override;
    CtHintPtr write( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) override;
    CtHintPtr asyncRead( const CtPxTileId& tile, void* memory, const CtHintPtr& hint,
                         LkAsyncHandle* handle ) override;
    CtHintPtr asyncWrite( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint,
                          LkAsyncHandle* handle ) override;

    /// From now on requests fail, those that are pending included.
    void loseConnection();
    /// The loop takes no request until `resume`.
    void pause();
    void resume();

private:
    struct Request {
        bool isWrite;
        CtPxTileId tile;
        void* memory;
        CtHintPtr hint;
        LkAsyncHandle* handle;
    };

    static void move( const Request& request );
    CtHintPtr submit( Request request );
    void run();
    void serve( Request request, bool isLost );

    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<Request> _requests;
    unsigned int _nbInTransfer = 0;
    bool _isLost = false;
    bool _isPaused = false;
    bool _isOver = false;
    std::thread _loop;
};

/// Makes the servers of the configurations that begin with a scheme.
class TestFactory : public CtServerFactory {
public:
    using Make = std::function<CtServer*( const LiString& configuration )>;

    TestFactory( const char* scheme, Make make )
        : _scheme( scheme )
        , _make( std::move( make ) ) {}

    bool canHandle( const LiString& configuration ) override {
        return configuration.starts_with( _scheme );
    }
    CtServer* create( const LiString& configuration ) override { return _make( configuration ); }

private:
    const std::string _scheme;
    const Make _make;
};

} // namespace Qv
