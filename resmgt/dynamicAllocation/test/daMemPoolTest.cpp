#include <base/failure/assertions.h>
#include <base/trace/traceManager.h>
#include <resmgt/dynamicAllocation/daMemPool.h>
#include <resmgt/dynamicAllocation/daMemPoolResource.h>
#include <resmgt/dynamicAllocation/src/daMemPoolTraits.h>
#include <resmgt/osSupport/osMemoryArch.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::size_t lineSize = OsMemoryArch::getInstance().getCacheLineSize();

template <class Traits>
class DaMemPoolTest : public ::testing::Test {};

using AllTraits = ::testing::Types<DaMemPoolTraits, DaMemPoolTaggedTraits, DaMemPoolCachedTraits,
                                   DaMemPoolSThreadTraits>;
TYPED_TEST_SUITE( DaMemPoolTest, AllTraits );

template <class Traits>
class DaSharedMemPoolTest : public ::testing::Test {};

// Not the form whose tag is reset: it may give a node to two.
using SafeTraits = ::testing::Types<DaMemPoolTaggedTraits, DaMemPoolCachedTraits>;
TYPED_TEST_SUITE( DaSharedMemPoolTest, SafeTraits );

TYPED_TEST( DaMemPoolTest, ARequestGetsTheNextPowerOfTwoInChunksOfTheRightLength ) {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    struct Case {
        std::size_t _size, _chunkBytes, _maxNodes, _nodeSize, _nbNodes;
    };
    const Case cases[] = {
        { 1, 0, 5, 8, 1 },           { 8, 80, 100, 8, 10 },
        { 9, 80, 100, 16, 5 },       { 16, 79, 100, 16, 4 },
        { 17, 1000, 3, 32, 3 },      { 64, 64, 1, 64, 1 },
        { 65, 255, most, 128, 1 },   { 100, 256, most, 128, 2 },
        { 513, 99'999, 7, 1024, 7 }, { 70'000, 1, 9, 131'072, 1 },
    };
    for( const Case& one : cases ) {
        SCOPED_TRACE( one._size );
        DaMemPool<TypeParam> pool( "table", one._size, one._chunkBytes, one._maxNodes );
        const std::size_t nbBytes = lineSize + one._nbNodes * one._nodeSize + 8;
        std::set<std::uintptr_t> nodes;
        for( std::size_t i = 0; i < 3 * one._nbNodes; ++i ) {
            nodes.insert( reinterpret_cast<std::uintptr_t>( pool.alloc( one._size ) ) );
            EXPECT_EQ( pool.getTotalSize(), ( i / one._nbNodes + 1 ) * nbBytes );
        }
        std::uintptr_t before = 0;
        for( const std::uintptr_t node : nodes ) {
            EXPECT_GE( node, before + one._nodeSize );
            EXPECT_EQ( node % std::min( one._nodeSize, lineSize ), 0u );
            before = node;
            pool.free( reinterpret_cast<void*>( node ), one._size );
        }
        for( std::size_t i = 0; i < 3 * one._nbNodes; ++i ) {
            EXPECT_EQ( nodes.count( reinterpret_cast<std::uintptr_t>( pool.alloc( one._size ) ) ),
                       1u );
        }
        EXPECT_EQ( pool.getTotalSize(), 3 * nbBytes ) << "freed nodes weren't all there";
    }
}

TYPED_TEST( DaMemPoolTest, MisuseIsAnAssertionAndNothingIsCounted ) {
    DaMemPool<TypeParam> pool( "misuse", 100, 1000, 10 );
    EXPECT_EQ( pool.alloc( 0 ), nullptr );
    pool.free( nullptr, 101 );
    const auto asserts = []( const char* text, auto body ) {
        EXPECT_THAT( raisedBy<ExAssertionFailed>( body ), HasSubstr( text ) );
    };
    asserts( "size <= _maxSize", [&] { pool.alloc( 101 ); } );
    asserts( "maxNodesPerChunk > 0", [] { DaMemPool<TypeParam>( "none", 8, 8, 0 ); } );
    EXPECT_EQ( pool.getTotalSize(), 0u );
    void* const node = pool.alloc( 100 );
    const auto nbBytes = pool.getTotalSize();
    asserts( "size <= _maxSize", [&] { pool.free( node, 129 ); } );
    pool.free( node, 100 );
    EXPECT_EQ( pool.alloc( 100 ), node );
    EXPECT_EQ( pool.getTotalSize(), nbBytes );

    DaMemPool<TypeParam> empty( "empty", 0, 8, 1 );
    EXPECT_EQ( empty.alloc( 0 ), nullptr );
    asserts( "size <= _maxSize", [&] { empty.alloc( 1 ); } );
}

TYPED_TEST( DaMemPoolTest, AChunkThatCannotBeRaisesAndThePoolGoesOn ) {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    DaMemPool<TypeParam> pool( "huge", most, most, most );
    for( const std::size_t size : { most, most / 2 + 2, std::size_t{ 1 } } ) {
        EXPECT_THROW( pool.alloc( size ), std::bad_array_new_length ) << size;
    }
    EXPECT_THROW( pool.alloc( most / 2 ), std::bad_alloc );
    DaMemPool<TypeParam> large( "large", most / 2 + 1, 4096, 10 );
    EXPECT_THROW( large.alloc( most / 4 ), std::bad_alloc );
    EXPECT_EQ( large.getTotalSize(), 0u );
    EXPECT_NE( large.alloc( 4096 ), nullptr );
}

/// Has a pool live on a thread whose allocations fail, and then with memory again. Whether one
/// failed.
template <class Traits>
bool failsAndGoesOn( int nbSucceeding, int nbFailing ) {
    DaMemPool<Traits> pool( "failing", 4096, 640, 10 );
    bool hasFailed = false;
    {
        const FailingNew failing( nbSucceeding, nbFailing );
        try {
            pool.free( pool.alloc( 64 ), 64 );
        } catch( const std::bad_alloc& ) {
            EXPECT_EQ( pool.getTotalSize(), 0u );
        }
        hasFailed = failing.getNbFailed() > 0;
    }
    std::set<void*> nodes;
    while( nodes.size() < 10 ) {
        EXPECT_TRUE( nodes.insert( pool.alloc( 64 ) ).second );
    }
    EXPECT_EQ( pool.getTotalSize(), lineSize + 640 + 8 );
    for( void* const node : nodes ) {
        pool.free( node, 64 );
    }
    // What is free needs no memory.
    const FailingNew failing( 0 );
    for( int i = 0; i < 10; ++i ) {
        EXPECT_EQ( nodes.count( pool.alloc( 64 ) ), 1u );
    }
    EXPECT_THROW( pool.alloc( 64 ), std::bad_alloc );
    return hasFailed;
}

TYPED_TEST( DaMemPoolTest, WhicheverAllocationFailsOnceOrForGoodThePoolIsAsBefore ) {
    for( const int nbFailing : { 1, std::numeric_limits<int>::max() } ) {
        bool hasFailed = true;
        for( int nbSucceeding = 0; hasFailed && !this->HasFailure(); ++nbSucceeding ) {
            // A thread of its own has all that it needs still to make.
            TestThread( [&] {
                SCOPED_TRACE( nbSucceeding );
                hasFailed = failsAndGoesOn<TypeParam>( nbSucceeding, nbFailing );
            } ).join();
        }
    }
}

TYPED_TEST( DaMemPoolTest, AFreshNodeHoldsThePatternBehindItsLink ) {
    DaMemPool<TypeParam> pool( "pattern", 1024, 4096, 4 );
    for( const std::size_t size : { 8u, 16u, 128u, 1024u } ) {
        for( int i = 0; i < 4; ++i ) {
            const auto* const words = static_cast<const std::uint32_t*>( pool.alloc( size ) );
            for( std::size_t word = 2; word < size / sizeof( *words ); ++word ) {
                ASSERT_EQ( words[word], 0xCAFEDEADu );
            }
        }
    }
}

TYPED_TEST( DaMemPoolTest, ALongRandomLifeNeverGivesLiveBytesAway ) {
    std::mt19937_64 random( testSeed() );
    DaMemPool<TypeParam> pool( "random", 3000, 5000, 40 );
    std::map<char*, std::pair<std::size_t, char>> live;
    for( long step = scaledCount( 200'000 ); step > 0; --step ) {
        // Growing and shrinking in turn.
        const std::uint64_t percent = step / 5000 % 2 == 0 ? 30 : 70;
        if( live.size() < 50 || ( live.size() < 2000 && random() % 100 < percent ) ) {
            const std::size_t size = 1 + random() % ( std::size_t{ 1 } << random() % 11 );
            auto* const block = static_cast<char*>( pool.alloc( size ) );
            const char stamp = static_cast<char>( random() );
            std::memset( block, stamp, size );
            ASSERT_TRUE( live.emplace( block, std::make_pair( size, stamp ) ).second );
            continue;
        }
        auto victim = live.lower_bound( reinterpret_cast<char*>( random() >> 16 ) );
        victim = victim == live.end() ? live.begin() : victim;
        const auto [size, stamp] = victim->second;
        ASSERT_EQ( victim->first[0], stamp );
        ASSERT_EQ( victim->first[size - 1], stamp );
        ASSERT_EQ( std::memcmp( victim->first, victim->first + 1, size - 1 ), 0 );
        pool.free( victim->first, size );
        live.erase( victim );
    }
}

struct RecordingTrace : Trace {
    void print( const std::string& line ) override { _lines.push_back( line ); }

    std::vector<std::string> _lines;
};

struct RecordingManager : TraceManager {
    RecordingManager()
        : TraceManager( 1 ) {}
    Trace& getTrace() override { return _trace; }

    RecordingTrace _trace;
};

TYPED_TEST( DaMemPoolTest, TheTraceReportsEachChunkAndASizeThatIsTooLarge ) {
    RecordingManager manager;
    TraceLevel* const level = Trace::registerLevel( "DaMemPool", "daMemPool" );
    DaMemPool<TypeParam> pool( "told", 64, 128, 100 );
    pool.alloc( 64 );
    EXPECT_THAT( manager._trace._lines, ElementsAre() );
    level->setEnabled( true );
    {
        // A chunk that isn't had stays counted with its class.
        const FailingNew failing( 0, 1 );
        EXPECT_THROW( pool.alloc( 8 ), std::bad_alloc );
    }
    pool.alloc( 8 );
    level->setEnabled( false );
    EXPECT_THROW( pool.alloc( 65 ), ExAssertionFailed );
    const auto both = std::to_string( 2 * ( lineSize + 128 + 8 ) );
    EXPECT_THAT( manager._trace._lines,
                 ElementsAre( HasSubstr( "Expanding DaMemPool told for node size 8 bytes,\n"
                                         "size (allocated+free) is now :" +
                                         both + " bytes." ),
                              HasSubstr( "Total DaMemPool told  size (allocated+free) is now :" +
                                         both + " bytes." ),
                              HasSubstr( "size: 65, _maxSize: 64" ) ) );
}

TYPED_TEST( DaMemPoolTest, ContainersLiveInAPoolAndLargeOrWideBlocksElsewhere ) {
    DaMemPool<TypeParam> pool( "pmr", 256, 4096, 100 );
    std::pmr::monotonic_buffer_resource elsewhere;
    DaMemPoolResource resource( pool, &elsewhere );
    const auto takesFromPool = [&]( std::size_t size, std::size_t alignment ) {
        const auto before = pool.getTotalSize();
        void* const block = resource.allocate( size, alignment );
        EXPECT_NE( block, nullptr );
        EXPECT_EQ( reinterpret_cast<std::uintptr_t>( block ) % alignment, 0u );
        resource.deallocate( block, size, alignment );
        return pool.getTotalSize() != before;
    };
    EXPECT_TRUE( takesFromPool( 0, 1 ) );
    EXPECT_TRUE( takesFromPool( 24, lineSize ) ) << "a node of a whole line";
    EXPECT_TRUE( takesFromPool( 256, 16 ) );
    EXPECT_FALSE( takesFromPool( 257, 16 ) );
    EXPECT_FALSE( takesFromPool( 8, 2 * lineSize ) );

    std::pmr::map<int, std::pmr::string> names( &resource );
    for( int i = 0; i < 1000; ++i ) {
        names[i] = std::string( static_cast<std::size_t>( i ), 'x' );
    }
    EXPECT_EQ( names[999].size(), 999u );
    DaMemPool<TypeParam> other( "other", 256, 4096, 100 );
    EXPECT_TRUE( resource.is_equal( DaMemPoolResource( pool, &elsewhere ) ) );
    EXPECT_FALSE( resource.is_equal( DaMemPoolResource( pool ) ) );
    EXPECT_FALSE( resource.is_equal( DaMemPoolResource( other, &elsewhere ) ) );
    EXPECT_FALSE( resource.is_equal( elsewhere ) );
}

/// A block's owner writes it, and looks whether somebody else has since.
class Stamped {
public:
    Stamped( void* block, std::size_t size, std::uint64_t owner )
        : _words( static_cast<std::uint64_t*>( block ) )
        , _size( size )
        , _owner( owner ) {
        _words[0] = owner;
        _words[size / sizeof( owner ) - 1] = owner;
    }

    void* getBlock() const { return _words; }
    std::size_t getSize() const { return _size; }
    void check() const {
        ASSERT_EQ( _words[0], _owner );
        ASSERT_EQ( _words[_size / sizeof( _owner ) - 1], _owner );
    }

private:
    std::uint64_t* _words;
    std::size_t _size;
    std::uint64_t _owner;
};

/// Blocks that threads hand to each other.
class Exchange {
public:
    /// Leaves this one there and gives another's, if there was one.
    std::unique_ptr<Stamped> swap( std::size_t place, std::unique_ptr<Stamped> one ) {
        return std::unique_ptr<Stamped>(
            _places[place % 8].exchange( one.release(), std::memory_order_acq_rel ) );
    }

private:
    std::atomic<Stamped*> _places[8] = {};
};

TYPED_TEST( DaSharedMemPoolTest, NoNodeHasTwoOwnersWhoeverTakesAndFreesIt ) {
    const std::uint64_t seed = testSeed();
    DaMemPool<TypeParam> pool( "stamps", 64, 256, 100 );
    Exchange exchange;
    const auto live = [&]( std::uint64_t owner ) {
        std::mt19937_64 random( seed + owner );
        std::vector<std::unique_ptr<Stamped>> own;
        for( long step = scaledCount( 100'000 ); step > 0; --step ) {
            if( own.size() < 2 || ( own.size() < 150 && random() % 2 == 0 ) ) {
                const std::size_t size = std::size_t{ 8 } << random() % 3;
                own.push_back( std::make_unique<Stamped>( pool.alloc( size ), size,
                                                          owner << 32 | random() >> 32 ) );
                continue;
            }
            std::swap( own[random() % own.size()], own.back() );
            std::unique_ptr<Stamped> last = std::move( own.back() );
            own.pop_back();
            last->check();
            if( random() % 4 == 0 ) {
                last = exchange.swap( random(), std::move( last ) );
            }
            if( last != nullptr ) {
                last->check();
                pool.free( last->getBlock(), last->getSize() );
            }
        }
        for( const auto& one : own ) {
            one->check();
            pool.free( one->getBlock(), one->getSize() );
        }
    };
    // Threads end, and others come.
    for( const std::uint64_t first : { 1U, 5U, 9U } ) {
        TestThreads( 4, [&]( std::uint64_t number ) { live( first + number ); } ).join();
    }
    for( std::size_t place = 0; place < 8; ++place ) {
        if( const auto left = exchange.swap( place, nullptr ) ) {
            left->check();
        }
    }
    // 4 threads with 150 nodes each, one a place, and what lay in magazines, when chunks were made.
    EXPECT_LT( pool.getTotalSize(), 1'000'000u );
}

} // namespace
} // namespace Qv
