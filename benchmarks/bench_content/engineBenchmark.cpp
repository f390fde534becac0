#include <resmgt/content/ctNonAsyncServer.h>
#include <resmgt/locks/lkAsyncHandle.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

/// One client of an engine with two workers.
///
/// *manyRequests* is the time of one request out of many to a store that does nothing, for 64
/// blocks in turn, of which at most 100 wait at a time: the queue is never empty. *oneRequest* is
/// one to an idle engine, until its completion has woken the client; its peer are two hand-overs
/// between two threads. *emptyGate* is a read of 4 KiB of a cached file through a gate that nobody
/// else uses; its peer is the same read alone.

namespace {

using namespace Qv;

constexpr int NB_REQUESTS = 20000;
constexpr std::size_t LIMIT = 100;
constexpr unsigned int NB_BLOCKS = 64;
constexpr unsigned int READ_SIZE = 4096;

/// A store that isn't asked for anything but transfers.
class Store : public CtNonAsyncServer {
public:
    explicit Store( const CtEngineOptions& options )
        : CtNonAsyncServer( "bench://store", options ) {}

    std::uint64_t getFreeSpace() const override { return UNKNOWN_SPACE; }
    unsigned int getBlockSize() const override { return 1; }
    unsigned int getAlignment() const override { return 1; }
    unsigned int getNbSerialIds() const override { return 0; }
    OPtrRet<Set<CtSerialId>> getSerialIds() const override {
        return OPtr<Set<CtSerialId>>( new Set<CtSerialId> );
    }
    NewTile createTile( unsigned int ) override { return {}; }
    void removeTile( const CtSerialId& ) override {}
    bool isValid( const CtStTileId&, int ) const override { return true; }
    void clear() override {}

protected:
    CtHintPtr makeReadHint( const CtPxTileId&, const CtHintPtr& hint ) override { return hint; }
    CtHintPtr makeWriteHint( const CtPxTileId&, const CtHintPtr& hint ) override { return hint; }
    void writeImp( const CtPxTileId&, const void*, const CtHintPtr& ) override {}
};

class EmptyStore : public Store {
public:
    using Store::Store;
    ~EmptyStore() override { drain(); }

protected:
    void readImp( const CtPxTileId&, void*, const CtHintPtr& ) override {}
};

class FileStore : public Store {
public:
    FileStore( const CtEngineOptions& options, OsMTFileReader& reader )
        : Store( options )
        , _reader( reader ) {}
    ~FileStore() override { drain(); }

protected:
    void readImp( const CtPxTileId& tile, void* memory, const CtHintPtr& ) override {
        _reader.read( memory, tile.getOffset(), tile.getSize() );
    }

private:
    OsMTFileReader& _reader;
};

/// What one writes by hand: a bounded queue, a mutex and two condition variables.
class HandMadeEngine {
public:
    HandMadeEngine() {
        for( int i = 0; i < 2; ++i ) {
            _threads.emplace_back( [this] { work(); } );
        }
    }
    ~HandMadeEngine() {
        {
            const std::lock_guard guard( _mutex );
            _isOver = true;
        }
        _nonEmpty.notify_all();
        for( std::thread& thread : _threads ) {
            thread.join();
        }
    }

    void asyncRead( const CtPxTileId& tile, void* memory, const CtHintPtr&,
                    LkAsyncHandle* handle ) {
        std::unique_lock guard( _mutex );
        _nonFull.wait( guard, [this] { return _requests.size() < LIMIT; } );
        _requests.push_back( { tile, memory, handle } );
        guard.unlock();
        _nonEmpty.notify_one();
    }

private:
    struct Request {
        CtPxTileId tile;
        void* memory;
        LkAsyncHandle* handle;
    };

    void work() {
        std::unique_lock guard( _mutex );
        for( ;; ) {
            _nonEmpty.wait( guard, [this] { return !_requests.empty() || _isOver; } );
            if( _requests.empty() ) {
                return;
            }
            const Request request = _requests.front();
            _requests.pop_front();
            guard.unlock();
            _nonFull.notify_one();
            benchmark::DoNotOptimize( request.memory );
            request.handle->asyncSucceeded();
            guard.lock();
        }
    }

    std::mutex _mutex;
    std::condition_variable _nonEmpty;
    std::condition_variable _nonFull;
    std::deque<Request> _requests;
    bool _isOver = false;
    std::vector<std::thread> _threads;
};

class CountingHandle : public LkAsyncHandle {
public:
    void asyncSucceeded() override { count.fetch_add( 1, std::memory_order_release ); }
    void asyncFailed() override { asyncSucceeded(); }

    std::atomic<int> count{ 0 };
};

class WakingHandle : public LkAsyncHandle {
public:
    void asyncSucceeded() override {
        {
            const std::lock_guard guard( _mutex );
            _isOver = true;
        }
        _over.notify_one();
    }
    void asyncFailed() override { asyncSucceeded(); }
    void wait() {
        std::unique_lock guard( _mutex );
        _over.wait( guard, [this] { return _isOver; } );
        _isOver = false;
    }

private:
    std::mutex _mutex;
    std::condition_variable _over;
    bool _isOver = false;
};

CtPxTileId tileOf( int request ) {
    return CtPxTileId( CtSerialId( static_cast<unsigned int>( request ) % NB_BLOCKS ), 0, 1 );
}

template <class Engine>
void manyRequests( benchmark::State& state, Engine& engine ) {
    char memory = '\0';
    for( auto _ : state ) {
        CountingHandle handle;
        for( int i = 0; i < NB_REQUESTS; ++i ) {
            engine.asyncRead( tileOf( i ), &memory, {}, &handle );
        }
        while( handle.count.load( std::memory_order_acquire ) < NB_REQUESTS ) {
            std::this_thread::yield();
        }
    }
    state.SetItemsProcessed( state.iterations() * NB_REQUESTS );
}

template <class Engine>
void oneRequest( benchmark::State& state, Engine& engine ) {
    char memory = '\0';
    WakingHandle handle;
    int request = 0;
    for( auto _ : state ) {
        engine.asyncRead( tileOf( request++ ), &memory, {}, &handle );
        handle.wait();
    }
}

void manyRequestsPrio( benchmark::State& state ) {
    EmptyStore store( { 0, 2, 2 } );
    manyRequests( state, store );
}
void manyRequestsPlain( benchmark::State& state ) {
    EmptyStore store( { 2, 0, 2 } );
    manyRequests( state, store );
}
void manyRequestsByHand( benchmark::State& state ) {
    HandMadeEngine engine;
    manyRequests( state, engine );
}

void oneRequestPrio( benchmark::State& state ) {
    EmptyStore store( { 0, 2, 2 } );
    oneRequest( state, store );
}
void oneRequestPlain( benchmark::State& state ) {
    EmptyStore store( { 2, 0, 2 } );
    oneRequest( state, store );
}
void oneRequestByHand( benchmark::State& state ) {
    HandMadeEngine engine;
    oneRequest( state, engine );
}

void oneRequestTwoHandOvers( benchmark::State& state ) {
    WakingHandle there;
    WakingHandle back;
    std::atomic<bool> isOver = false;
    std::thread other( [&] {
        for( there.wait(); !isOver; there.wait() ) {
            back.asyncSucceeded();
        }
    } );
    for( auto _ : state ) {
        there.asyncSucceeded();
        back.wait();
    }
    isOver = true;
    there.asyncSucceeded();
    other.join();
}

/// A file of one read's size, in the working directory.
class CachedFile {
public:
    CachedFile() {
        OsMTFileWriter( PATH, { 6, 0, 0 }, true, false ).write( CONTENT.data(), 0, READ_SIZE );
    }
    ~CachedFile() { OsFile( PATH ).remove(); }

    static inline const OsFilePath PATH{ "bench_content.tmp" };

private:
    static inline const std::string CONTENT = std::string( READ_SIZE, 'x' );
};

void emptyGateServer( benchmark::State& state ) {
    const CachedFile file;
    OsMTFileReader reader( CachedFile::PATH, false );
    FileStore store( { 0, 0, 2 }, reader );
    std::vector<char> memory( READ_SIZE );
    for( auto _ : state ) {
        store.read( CtPxTileId( CtSerialId( 1 ), 0, READ_SIZE ), memory.data(), {} );
    }
}
void emptyGateReaderAlone( benchmark::State& state ) {
    const CachedFile file;
    OsMTFileReader reader( CachedFile::PATH, false );
    std::vector<char> memory( READ_SIZE );
    for( auto _ : state ) {
        reader.read( memory.data(), 0, READ_SIZE );
    }
}

BENCHMARK( manyRequestsPrio )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( manyRequestsPlain )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( manyRequestsByHand )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( oneRequestPrio )->UseRealTime();
BENCHMARK( oneRequestPlain )->UseRealTime();
BENCHMARK( oneRequestByHand )->UseRealTime();
BENCHMARK( oneRequestTwoHandOvers )->UseRealTime();
BENCHMARK( emptyGateServer )->UseRealTime();
BENCHMARK( emptyGateReaderAlone )->UseRealTime();

} // namespace
