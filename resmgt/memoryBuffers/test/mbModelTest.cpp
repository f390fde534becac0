#include <resmgt/dynamicAllocation/daArenaAllocator.h>
#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/memoryBuffers/mbArenaManager.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <shared_mutex>
#include <sstream>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>
#include <thread>

namespace Qv {

namespace {

// Threads send random events to a set of buffers, with about a third of the memory that these
// need, over a store that works synchronously, asynchronously or not at all. The model knows what
// each buffer must contain.

constexpr int NB_SLOTS = 24;
constexpr int NB_THREADS = 4;
constexpr int SIZE = 512;
// A thread holds two buffers at most.
constexpr int NB_RESIDENT = 2 * NB_THREADS;

struct StoreFault {};

/// A content tells whose it is, and whether it is whole.
struct Content {
    std::uint32_t owner = 0;
    std::uint32_t version = 0;
    std::uint64_t hash = 0;
    std::array<std::uint64_t, SIZE / 8 - 2> words{};

    Content() = default;
    Content( std::uint32_t contentOwner, std::uint32_t contentVersion )
        : owner( contentOwner )
        , version( contentVersion ) {
        std::uint64_t word = owner * 0x9e3779b97f4a7c15u + version;
        for( std::uint64_t& w : words ) {
            w = word = word * 6364136223846793005u + 1442695040888963407u;
        }
        hash = computeHash();
    }
    std::uint64_t computeHash() const {
        std::uint64_t sum = owner + ( std::uint64_t{ version } << 32 );
        for( const std::uint64_t w : words ) {
            sum = ( sum ^ w ) * 0x100000001b3u;
        }
        return sum;
    }
    bool isWhole() const { return hash == computeHash(); }
};
static_assert( sizeof( Content ) == SIZE );

/// Does asynchronous operations on a thread of its own.
class Worker {
public:
    Worker()
        : _thread( [this] { run(); } ) {}
    ~Worker() {
        {
            const std::lock_guard lock( _mutex );
            _isOver = true;
        }
        _changed.notify_one();
    }

    void add( std::function<void()> job ) {
        {
            const std::lock_guard lock( _mutex );
            _jobs.push_back( std::move( job ) );
        }
        _changed.notify_one();
    }

private:
    void run() {
        std::unique_lock lock( _mutex );
        for( ;; ) {
            _changed.wait( lock, [this] { return _isOver || !_jobs.empty(); } );
            if( _jobs.empty() ) {
                return;
            }
            const std::function<void()> job = std::move( _jobs.front() );
            _jobs.pop_front();
            lock.unlock();
            try {
                job();
            } catch( const StoreFault& ) {
                // Of an event that was waiting for the completion, and is sent by its thread.
            }
            lock.lock();
        }
    }

    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<std::function<void()>> _jobs;
    bool _isOver = false;
    TestThread _thread;
};

/// The second one is for failures: what it does for a buffer afterwards may wait for memory, and
/// with it for the other one's completions.
using Workers = std::array<Worker, 2>;

class StoreProtocol : public MbProtocol {
public:
    StoreProtocol( std::uint32_t owner, Workers& workers, std::uint64_t seed )
        : _owner( owner )
        , _workers( workers )
        , _random( seed ) {}

    void load( void* memory, unsigned long long ) override {
        faultAtTimes();
        fillNew( memory );
    }
    void reload( void* memory, unsigned long long ) override {
        faultAtTimes();
        EXPECT_TRUE( _stored.isWhole() );
        put( memory, _stored );
        _isDirty = false;
    }
    void asyncLoad( void* memory, unsigned long long, LkAsyncHandle* handle ) override {
        faultAtTimes();
        start( handle, [this, memory] { fillNew( memory ); } );
    }
    void asyncReload( void* memory, unsigned long long, LkAsyncHandle* handle ) override {
        faultAtTimes();
        start( handle, [this, memory] {
            put( memory, _stored );
            _isDirty = false;
        } );
    }
    void sync( void* memory, unsigned long long ) override {
        faultAtTimes();
        store( memory );
    }
    void asyncSync( void* memory, unsigned long long, LkAsyncHandle* handle ) override {
        faultAtTimes();
        start( handle, [this, memory] { store( memory ); } );
    }
    bool unload( void* memory, unsigned long long ) override {
        faultAtTimes();
        if( _random() % 50 == 0 ) {
            return false;
        }
        store( memory );
        return true;
    }
    void markDirty( void*, unsigned long long ) override {
        faultAtTimes();
        _isDirty = true;
    }
    void free( void*, unsigned long long ) override { _isDirty = false; }

private:
    void fillNew( void* memory ) {
        _stored = Content( _owner, 0 );
        put( memory, _stored );
        _isDirty = false;
    }
    void put( void* memory, const Content& content ) {
        std::memcpy( memory, &content, sizeof( content ) );
    }
    /// Nobody may be writing meanwhile.
    void store( const void* memory ) {
        Content content;
        std::memcpy( &content, memory, sizeof( content ) );
        EXPECT_TRUE( content.isWhole() );
        if( _isDirty ) {
            _stored = content;
            _isDirty = false;
        }
        EXPECT_EQ( content.hash, _stored.hash ) << "clean content differs from the store's";
    }
    /// Lets another thread in at times, and fails at times.
    void faultAtTimes() {
        if( _random() % 8 == 0 ) {
            std::this_thread::yield();
        }
        if( _random() % 100 == 0 ) {
            throw StoreFault();
        }
    }
    /// Completes on a worker, or before it returns; at times by a failure.
    template <class Work>
    void start( LkAsyncHandle* handle, Work work ) {
        const bool fails = _random() % 20 == 0;
        const auto job = [handle, work, fails] {
            if( fails ) {
                handle->asyncFailed();
            } else {
                work();
                handle->asyncSucceeded();
            }
        };
        if( _random() % 4 == 0 ) {
            job();
        } else {
            _workers[fails].add( job );
        }
    }

    const std::uint32_t _owner;
    Workers& _workers;
    std::minstd_rand _random;
    Content _stored;
    bool _isDirty = false;
};

/// One piece of memory of the size that is asked for.
class PlainAllocator : public DaArenaAllocator {
public:
    Vector<std::pair<void*, std::size_t>> allocate( std::size_t size ) override {
        _memory = std::make_unique<char[]>( size );
        Vector<std::pair<void*, std::size_t>> pieces;
        pieces.push_back( { _memory.get(), size } );
        return pieces;
    }
    void deallocate( const Vector<std::pair<void*, std::size_t>>&, std::size_t ) override {
        _memory.reset();
    }

private:
    std::unique_ptr<char[]> _memory;
};

struct Variant {
    MbStateMachine::LockPolicy_e policy;
    bool isArena;
};

void PrintTo( const Variant& variant, std::ostream* stream ) {
    *stream << ( variant.policy == MbStateMachine::RELAXED ? "relaxed" : "strict" )
            << ( variant.isArena ? ", arena, random" : ", heap, LRU" );
}

class MbModel : public testing::TestWithParam<Variant> {
protected:
    /// A place for a buffer. Those of an even number keep it, and their content is known exactly.
    /// The others are freed, grabbed and replaced at any time; what they contain must be whole.
    struct Slot {
        std::mutex handleMutex;
        MbBuffer buffer;
        /// Keeps readers and writers apart where the policy doesn't.
        std::shared_mutex contentMutex;
        std::uint32_t version = 0;
    };

    MbModel()
        : _manager( makeManager() )
        , _factory( MbStateMachine::getInstance( MbStateMachine::TRACED, GetParam().policy )
                        .getInitialState(),
                    _manager ) {}

    static RCShdPtr<MbManager> makeManager() {
        constexpr std::size_t ROOM = NB_RESIDENT * ( SIZE + 127 );
        if( GetParam().isArena ) {
            return RCShdPtr<MbManager>(
                new MbArenaManager( "arena", DaArenaPool::create( new PlainAllocator, 2 * ROOM ),
                                    OPtr<MbUnloadStrategy>( new MbUnloadRandom( 1 ) ) ) );
        }
        return RCShdPtr<MbManager>(
            new MbHeapManager( "heap", ROOM, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    }

    static bool isExact( std::size_t number ) { return number % 2 == 0; }

    MbBuffer makeBuffer( std::size_t number, std::uint64_t seed ) {
        return _factory.create( "model",
                                OPtr<MbProtocol>( new StoreProtocol(
                                    static_cast<std::uint32_t>( number ), _workers, seed ) ),
                                SIZE, MbAlignment( 127, 0, 0 ) );
    }
    MbBuffer get( std::size_t number ) {
        const std::lock_guard lock( _slots[number].handleMutex );
        return _slots[number].buffer;
    }

    void check( std::size_t number, const void* memory ) const {
        Content content;
        std::memcpy( &content, memory, sizeof( content ) );
        ASSERT_TRUE( content.isWhole() );
        if( isExact( number ) ) {
            ASSERT_EQ( content.owner, number );
            ASSERT_EQ( content.version, _slots[number].version );
        } else {
            ASSERT_FALSE( isExact( content.owner ) );
        }
    }

    void read( std::size_t number ) {
        Slot& slot = _slots[number];
        const std::shared_lock content( slot.contentMutex );
        const MbBufferRdGuardImp guard( get( number ) );
        std::this_thread::yield();
        check( number, guard.getMemory() );
    }
    void write( std::size_t number, bool isDemoted ) {
        Slot& slot = _slots[number];
        const std::unique_lock content( slot.contentMutex );
        MbBuffer buffer = get( number );
        MbBufferWrGuardImp guard( buffer );
        check( number, guard.getMemory() );
        const Content next( static_cast<std::uint32_t>( number ), ++slot.version );
        std::this_thread::yield();
        std::memcpy( guard.getMemory(), &next, sizeof( next ) );
        if( isDemoted ) {
            const MbBufferWrGuardImp copy( guard );
            const MbBufferRdGuardImp reader( guard );
            check( number, reader.getMemory() );
        }
    }
    /// The one with the smaller number first, so that two threads can't wait for each other.
    void copy( std::size_t from, std::size_t to ) {
        if( from >= to ) {
            return;
        }
        const std::shared_lock content( _slots[from].contentMutex );
        const MbBufferRdGuardImp source( get( from ) );
        check( from, source.getMemory() );
        write( to, false );
    }
    /// As another thread's writing could be under way, the buffers' own locks must do.
    void grab( std::size_t to, std::size_t from ) {
        MbBuffer source = get( from );
        MbBuffer target = get( to );
        if( !( source == target ) ) {
            target.grab( source );
        }
    }
    void replace( std::size_t number, std::uint64_t seed ) {
        MbBuffer fresh = makeBuffer( number, seed );
        const std::lock_guard lock( _slots[number].handleMutex );
        std::swap( fresh, _slots[number].buffer );
    }

    void step( std::mt19937_64& random ) {
        const std::size_t number = random() % NB_SLOTS;
        const std::size_t loose = random() % ( NB_SLOTS / 2 ) * 2 + 1;
        const std::size_t otherLoose = random() % ( NB_SLOTS / 2 ) * 2 + 1;
        const bool isRare = random() % 4 == 0;
        switch( random() % 16 ) {
        case 0:
        case 1:
            write( number, false );
            break;
        case 2:
            write( number, true );
            break;
        case 3:
            copy( number, random() % NB_SLOTS );
            break;
        case 4:
        case 5:
            get( number ).prefetch();
            break;
        case 6:
        case 7:
            get( number ).asyncSync();
            break;
        case 8:
            get( number ).sync();
            break;
        case 9:
            get( loose ).free();
            break;
        case 10:
            if( isRare ) {
                grab( loose, otherLoose );
            }
            break;
        case 11:
            if( isRare ) {
                replace( loose, random() );
            }
            ASSERT_LE( _manager->getFreeSpace(), _manager->getSize() );
            break;
        default:
            read( number );
        }
    }
    void runThread( std::uint64_t seed, long nbSteps ) {
        std::mt19937_64 random( seed );
        for( ; nbSteps > 0 && !HasFailure(); --nbSteps ) {
            try {
                step( random );
            } catch( const StoreFault& ) {
                // Nothing has happened, and no lock is left.
            }
        }
    }

    std::array<Slot, NB_SLOTS> _slots;
    const RCShdPtr<MbManager> _manager;
    MbBufferSimpleFactory _factory;
    Workers _workers;
};

TEST_P( MbModel, ContentsLimitsAndCountsHoldUnderRandomEventsOfManyThreads ) {
    const unsigned long long allFree = _manager->getFreeSpace();
    for( std::size_t i = 0; i < NB_SLOTS; ++i ) {
        replace( i, testSeed() + i );
    }
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for( std::uint64_t i = 0; i < NB_THREADS; ++i ) {
            threads.push_back( std::make_unique<TestThread>(
                [this, i] { runThread( testSeed() * 31 + i, scaledCount( 80000 ) ); } ) );
        }
    }
    for( Slot& slot : _slots ) {
        slot.buffer = MbBuffer();
    }
    std::ostringstream dump;
    _manager->dump( dump );
    EXPECT_EQ( _manager->getFreeSpace(), allFree );
    EXPECT_THAT( dump.str(), testing::HasSubstr( "Nb allocated regions  = 0\n" ) );
    EXPECT_THAT( dump.str(), testing::HasSubstr( "Nb unloadable buffers = 0\n" ) );
    EXPECT_EQ( _manager->getRefCount(), 2 );
}

INSTANTIATE_TEST_SUITE_P( Variants, MbModel,
                          testing::Values( Variant{ MbStateMachine::RELAXED, false },
                                           Variant{ MbStateMachine::STRICT, false },
                                           Variant{ MbStateMachine::RELAXED, true },
                                           Variant{ MbStateMachine::STRICT, true } ) );

} // namespace

} // namespace Qv
