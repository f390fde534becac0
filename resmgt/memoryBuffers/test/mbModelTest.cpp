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
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <tests/support/dumpOf.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace Qv {

namespace {

// Threads send random events to a set of buffers, strict and relaxed ones, that need ten times the
// memory there is, over a store that works synchronously, asynchronously or not at all. The model
// knows what each buffer must contain.

constexpr int SIZE = 512;
// A thread holds two buffers at most, so that nobody waits for what only others hold that wait.
constexpr std::size_t BUFFERS_OF_A_THREAD = 2;
constexpr std::size_t TIMES_THE_MEMORY = 10;

struct StoreFault {};

/// A content shows whose it is, and by a hash whether it is whole.
struct Content {
    std::uint64_t owner = 0;
    std::uint64_t version = 0;
    std::array<std::uint64_t, SIZE / 8 - 2> hashes{};

    Content() = default;
    Content( std::uint64_t contentOwner, std::uint64_t contentVersion )
        : owner( contentOwner )
        , version( contentVersion ) {
        std::uint64_t word = owner * 0x9e3779b97f4a7c15u + version;
        for( std::uint64_t& hash : hashes ) {
            hash = word = word * 6364136223846793005u + 1442695040888963407u;
        }
    }

    static Content at( const void* memory ) {
        Content content;
        std::memcpy( &content, memory, SIZE );
        return content;
    }
    bool operator==( const Content& ) const = default;
    bool isWhole() const { return *this == Content( owner, version ); }
};
static_assert( sizeof( Content ) == SIZE );

/// Does asynchronous operations on a thread of its own.
class Worker {
public:
    ~Worker() { add( nullptr ); }

    void add( std::function<void()> job ) {
        const std::lock_guard lock( _mutex );
        _jobs.push_back( std::move( job ) );
        _added.notify_one();
    }

private:
    std::function<void()> take() {
        std::unique_lock lock( _mutex );
        _added.wait( lock, [this] { return !_jobs.empty(); } );
        std::function<void()> job = std::move( _jobs.front() );
        _jobs.pop_front();
        return job;
    }
    void run() {
        while( const std::function<void()> job = take() ) {
            try {
                job();
            } catch( const StoreFault& ) {
                // Of an event that was waiting for the completion, and is sent by its thread.
            }
        }
    }

    std::mutex _mutex;
    std::condition_variable _added;
    std::deque<std::function<void()>> _jobs;
    TestThread _thread{ [this] { run(); } };
};

/// The second one is for failures: what it does for a buffer afterwards may wait for memory, and
/// with it for the other one's completions.
using Workers = std::array<Worker, 2>;

/// Nobody may be writing to the memory while an operation runs.
class StoreProtocol : public MbProtocol {
public:
    using Size = unsigned long long;

    StoreProtocol( std::uint64_t owner, Workers& workers, std::uint64_t seed )
        : _owner( owner )
        , _workers( workers )
        , _random( seed ) {}

    void load( void* m, Size ) override { now( &StoreProtocol::fillNew, m ); }
    void reload( void* m, Size ) override { now( &StoreProtocol::fetch, m ); }
    void sync( void* m, Size ) override { now( &StoreProtocol::store, m ); }
    void markDirty( void* m, Size ) override { now( &StoreProtocol::becomeDirty, m ); }
    void asyncLoad( void* m, Size, LkAsyncHandle* handle ) override {
        later( &StoreProtocol::fillNew, m, handle );
    }
    void asyncReload( void* m, Size, LkAsyncHandle* handle ) override {
        later( &StoreProtocol::fetch, m, handle );
    }
    void asyncSync( void* m, Size, LkAsyncHandle* handle ) override {
        later( &StoreProtocol::store, m, handle );
    }
    bool unload( void* m, Size ) override {
        const bool isWilling = _random() % 50 != 0;
        if( isWilling ) {
            now( &StoreProtocol::store, m );
        }
        return isWilling;
    }
    void unlocked( void*, Size, MbBufferImp* ) override { faultAtTimes( 2000 ); }
    void free( void*, Size ) override {
        faultAtTimes( 1000 );
        _isDirty = false;
    }

private:
    using Work = void ( StoreProtocol::* )( void* );

    void fillNew( void* memory ) {
        _stored = Content( _owner, 0 );
        fetch( memory );
    }
    void fetch( void* memory ) {
        EXPECT_TRUE( _stored.isWhole() );
        std::memcpy( memory, &_stored, SIZE );
        _isDirty = false;
    }
    void store( void* memory ) {
        const Content content = Content::at( memory );
        EXPECT_TRUE( content.isWhole() );
        if( std::exchange( _isDirty, false ) ) {
            _stored = content;
        }
        EXPECT_TRUE( content == _stored ) << "clean content differs from the store's";
    }
    void becomeDirty( void* ) { _isDirty = true; }

    /// Lets another thread in at times, and fails once in `rarity` times.
    void faultAtTimes( unsigned rarity = 100 ) {
        if( _random() % 8 == 0 ) {
            std::this_thread::yield();
        }
        if( _random() % rarity == 0 ) {
            throw StoreFault();
        }
    }
    void now( Work work, void* memory ) {
        faultAtTimes();
        ( this->*work )( memory );
    }
    /// Completes on a worker, or before it returns; at times by a failure.
    void later( Work work, void* memory, LkAsyncHandle* handle ) {
        faultAtTimes();
        const bool fails = _random() % 20 == 0;
        const auto job = [this, work, memory, handle, fails] {
            if( fails ) {
                handle->asyncFailed();
            } else {
                ( this->*work )( memory );
                handle->asyncSucceeded();
            }
        };
        if( _random() % 4 == 0 ) {
            job();
        } else {
            _workers[fails].add( job );
        }
    }

    const std::uint64_t _owner;
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
    void deallocate( const Vector<std::pair<void*, std::size_t>>&, std::size_t ) override {}

private:
    std::unique_ptr<char[]> _memory;
};

/// A client's own strategy, which the manager asks.
class AskedLRU : public MbUnloadLRU {};

enum Pool_e { HEAP_IN_OWN_ORDER, HEAP_WITH_ASKED_ORDER, ARENA_WITH_RANDOM_ORDER };

/// So many threads share a pool.
class MbModelTest : public testing::TestWithParam<std::tuple<std::size_t, Pool_e>> {
protected:
    /// A place for a buffer. Those of an even number keep it, and their content is known exactly.
    /// The others are freed, grabbed and replaced at any time; what they contain must be whole.
    struct Slot {
        std::mutex handleMutex;
        MbBuffer buffer;
        /// Keeps readers and writers apart where the policy doesn't.
        std::shared_mutex contentMutex;
        /// Relaxed, so that only the locks order contents. A replaced buffer may still be written
        /// to beside its successor.
        std::atomic<std::uint64_t> version = 0;
    };

    static std::size_t getNbThreads() { return std::get<0>( GetParam() ); }
    static RCShdPtr<MbManager> makeManager() {
        const std::size_t room = BUFFERS_OF_A_THREAD * getNbThreads() * ( SIZE + 128 );
        if( std::get<1>( GetParam() ) == ARENA_WITH_RANDOM_ORDER ) {
            return RCShdPtr<MbManager>(
                new MbArenaManager( "arena", DaArenaPool::create( new PlainAllocator, 2 * room ),
                                    OPtr<MbUnloadStrategy>( new MbUnloadRandom( 1 ) ) ) );
        }
        const bool isAsked = std::get<1>( GetParam() ) == HEAP_WITH_ASKED_ORDER;
        return RCShdPtr<MbManager>( new MbHeapManager(
            "heap", room, OPtr<MbUnloadStrategy>( isAsked ? new AskedLRU : new MbUnloadLRU ) ) );
    }
    static bool isStrict( std::size_t number ) { return number / 2 % 2 == 0; }
    static MbBufferSimpleFactory makeFactory( MbStateMachine::LockPolicy_e policy,
                                              const RCShdPtr<MbManager>& manager ) {
        return MbBufferSimpleFactory(
            MbStateMachine::getInstance( MbStateMachine::TRACED, policy ).getInitialState(),
            manager );
    }

    MbBuffer get( std::size_t number ) {
        const std::lock_guard lock( _slots[number].handleMutex );
        return _slots[number].buffer;
    }
    void check( std::size_t number, const void* memory ) const {
        const Content content = Content::at( memory );
        ASSERT_EQ( reinterpret_cast<std::uintptr_t>( memory ) % 128, 0u );
        ASSERT_TRUE( content.isWhole() );
        if( number % 2 == 0 ) {
            ASSERT_EQ( content.owner, number );
            ASSERT_EQ( content.version, _slots[number].version.load( std::memory_order_relaxed ) );
        } else {
            ASSERT_EQ( content.owner % 2, 1u );
        }
    }

    void read( std::size_t number ) {
        std::shared_lock content( _slots[number].contentMutex, std::defer_lock );
        if( !isStrict( number ) ) {
            content.lock();
        }
        const MbBufferRdGuardImp guard( get( number ) );
        std::this_thread::yield();
        check( number, guard.getMemory() );
    }
    void write( std::size_t number, bool isDemoted ) {
        std::unique_lock content( _slots[number].contentMutex, std::defer_lock );
        if( !isStrict( number ) ) {
            content.lock();
        }
        MbBuffer buffer = get( number );
        MbBufferWrGuardImp guard( buffer );
        check( number, guard.getMemory() );
        const Content next( number,
                            _slots[number].version.fetch_add( 1, std::memory_order_relaxed ) + 1 );
        std::this_thread::yield();
        std::memcpy( guard.getMemory(), &next, SIZE );
        if( isDemoted ) {
            const MbBufferWrGuardImp copy( guard );
            const MbBufferRdGuardImp reader( guard );
            check( number, reader.getMemory() );
        }
    }
    /// The one with the smaller number first, so that two threads can't wait for each other.
    void copy( std::size_t from, std::size_t to ) {
        if( from < to ) {
            std::shared_lock content( _slots[from].contentMutex, std::defer_lock );
            if( !isStrict( from ) ) {
                content.lock();
            }
            const MbBufferRdGuardImp source( get( from ) );
            check( from, source.getMemory() );
            write( to, false );
        }
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
        MbBuffer fresh =
            ( isStrict( number ) ? _strict : _relaxed )
                .create( "model", OPtr<MbProtocol>( new StoreProtocol( number, _workers, seed ) ),
                         SIZE, MbAlignment( 127, 0, 0 ) );
        const std::lock_guard lock( _slots[number].handleMutex );
        std::swap( fresh, _slots[number].buffer );
    }

    void step( std::mt19937_64& random ) {
        const std::size_t number = random() % _slots.size();
        const std::size_t loose = number | 1;
        const std::uint64_t dice = random() % 64;
        if( dice < 20 ) {
            read( number );
        } else if( dice < 32 ) {
            write( number, dice < 24 );
        } else if( dice < 36 ) {
            copy( number, random() % _slots.size() );
        } else if( dice < 44 ) {
            get( number ).prefetch();
        } else if( dice < 52 ) {
            get( number ).asyncSync();
        } else if( dice < 56 ) {
            get( number ).sync();
        } else if( dice < 60 ) {
            get( loose ).free();
        } else if( dice < 61 ) {
            grab( loose, ( random() % _slots.size() ) | 1 );
        } else if( dice < 62 ) {
            replace( loose, random() );
        } else {
            ASSERT_LE( _manager->getFreeSpace(), _manager->getSize() );
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

    std::vector<Slot> _slots =
        std::vector<Slot>( TIMES_THE_MEMORY * BUFFERS_OF_A_THREAD * getNbThreads() );
    const RCShdPtr<MbManager> _manager = makeManager();
    MbBufferSimpleFactory _strict = makeFactory( MbStateMachine::STRICT, _manager );
    MbBufferSimpleFactory _relaxed = makeFactory( MbStateMachine::RELAXED, _manager );
    Workers _workers;
};

TEST_P( MbModelTest, ContentsLimitsAndCountsHoldUnderRandomEventsOfManyThreads ) {
    const unsigned long long allFree = _manager->getFreeSpace();
    for( std::size_t i = 0; i < _slots.size(); ++i ) {
        replace( i, testSeed() + i );
    }
    const long nbSteps = scaledCount( 40000 ) / static_cast<long>( getNbThreads() );
    TestThreads( getNbThreads(), [this, nbSteps]( std::uint64_t i ) {
        runThread( testSeed() * 31 + i, nbSteps );
    } ).join();
    for( Slot& slot : _slots ) {
        slot.buffer = MbBuffer();
    }
    const std::string dump = dumpOf( *_manager );
    EXPECT_THAT( dump, testing::HasSubstr( "Nb allocated regions  = 0\n"
                                           "Nb unloadable buffers = 0\n" ) );
    const char* const ownLines =
        std::get<1>( GetParam() ) == ARENA_WITH_RANDOM_ORDER ? "DaArenaPoolImp:" : "bytes     = 0";
    EXPECT_THAT( dump, testing::HasSubstr( ownLines ) );
    EXPECT_EQ( _manager->getFreeSpace(), allFree );
    EXPECT_EQ( _manager->getRefCount(), 3 );
}

INSTANTIATE_TEST_SUITE_P( Variants, MbModelTest,
                          testing::Combine( testing::Values( 3u, 8u, 32u ),
                                            testing::Values( HEAP_IN_OWN_ORDER,
                                                             HEAP_WITH_ASKED_ORDER,
                                                             ARENA_WITH_RANDOM_ORDER ) ) );

} // namespace

} // namespace Qv
