// What threads may do to each other in the forms of the pool: stalls at the worst moment, which the
// test's own list heads bring about, and ends of threads and pools in any order.

#include <resmgt/dynamicAllocation/daMemPool.h>
#include <resmgt/dynamicAllocation/src/daMagazineSlots.h>
#include <resmgt/dynamicAllocation/src/daMemPool.imp>
#include <resmgt/dynamicAllocation/src/daMemPoolTraits.h>
#include <resmgt/dynamicAllocation/src/daPoison.h>
#include <resmgt/locks/test/scriptedWord.h>
#include <resmgt/osSupport/osMemoryArch.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <optional>
#include <set>
#include <vector>

namespace Qv {
namespace {

using CachedPool = DaMemPool<DaMemPoolCachedTraits>;

class ScriptedTraits : public DaConcurrentTraits<LkSListOf<ScriptedWord>> {};
class ScriptedTaggedTraits
    : public DaConcurrentTraits<LkSListOf<ScriptedWord, LkSListPush::KEEPS_TAG>> {};

/// Has one thread stalled in `alloc` while others take the two upper nodes and make `nbTurns`
/// removals in all, before the upper node comes back. Whether the lower one then has two owners.
template <class Traits>
bool givesToTwo( long nbTurns ) {
    DaMemPool<Traits> pool( "stalled", 8, 8 * 3, 3 );
    pool.free( pool.alloc( 8 ), 8 );
    void* lower = nullptr;
    ScriptedWord::beforeSwap = [&] {
        void* const upper = pool.alloc( 8 );
        lower = pool.alloc( 8 );
        for( long i = 2; i < nbTurns; ++i ) {
            pool.free( pool.alloc( 8 ), 8 );
        }
        pool.free( upper, 8 );
    };
    static_cast<void>( pool.alloc( 8 ) );
    return pool.alloc( 8 ) == lower;
}

TEST( DaMemPoolThreadsTest, AStalledAllocIsDeceivedWhereTheHeaderSaysSoAndNowhereElse ) {
    EXPECT_TRUE( givesToTwo<ScriptedTraits>( 2 ) );
    EXPECT_TRUE( givesToTwo<ScriptedTraits>( 7 ) );
    for( const long nbTurns : { 2L, 7L, 65'535L, 65'537L } ) {
        EXPECT_FALSE( givesToTwo<ScriptedTaggedTraits>( nbTurns ) ) << nbTurns;
    }
    EXPECT_TRUE( givesToTwo<ScriptedTaggedTraits>( 65'536 ) );
}

/// A slot whose next change is preceded by what others do meanwhile.
class ScriptedSlot {
public:
    DaMagazine* load( std::memory_order order ) const { return _value.load( order ); }
    DaMagazine* exchange( DaMagazine* value, std::memory_order order ) {
        runScript();
        return _value.exchange( value, order );
    }
    bool compare_exchange_strong( DaMagazine*& expected, DaMagazine* desired,
                                  std::memory_order success, std::memory_order failure ) {
        runScript();
        return _value.compare_exchange_strong( expected, desired, success, failure );
    }

    static inline std::function<void()> beforeChange;

private:
    static void runScript() {
        if( const auto script = std::exchange( beforeChange, nullptr ) ) {
            script();
        }
    }

    std::atomic<DaMagazine*> _value{ nullptr };
};

TEST( DaMemPoolThreadsTest, AMagazineHasOneOwnerWhateverHappensToAStalledOne ) {
    // What others do to the slot of which a thread has read that it is full: they take the
    // magazine, they take it and put it back, or put another in its place.
    for( const int nbPutBack : { 0, 1, 2 } ) {
        DaMagazineSlotsOf<ScriptedSlot> slots;
        slots.reserve( 100 );
        DaMagazine magazines[3] = { DaMagazine( 1 ), DaMagazine( 1 ), DaMagazine( 1 ) };
        std::multiset<DaMagazine*> taken;
        const auto take = [&] {
            DaMagazine* const magazine = slots.take();
            taken.insert( magazine );
            return magazine;
        };
        slots.put( &magazines[0] );
        slots.put( &magazines[1] );
        ScriptedSlot::beforeChange = [&] {
            for( int i = 0; i < 2; ++i ) {
                take();
            }
            for( int i = 0; i < nbPutBack; ++i ) {
                slots.put( &magazines[i] );
                taken.erase( &magazines[i] );
            }
            slots.put( &magazines[2] );
        };
        while( take() != nullptr ) {}
        taken.erase( nullptr );
        EXPECT_EQ( taken.size(), 3u );
        EXPECT_EQ( std::set<DaMagazine*>( taken.begin(), taken.end() ).size(), 3u );
        // Two that fill one slot: the one that is late goes on to the next.
        ScriptedSlot::beforeChange = [&] { slots.put( &magazines[0] ); };
        slots.put( &magazines[1] );
        EXPECT_EQ( ( std::set<DaMagazine*>{ slots.take(), slots.take() } ),
                   ( std::set<DaMagazine*>{ &magazines[0], &magazines[1] } ) );
        EXPECT_EQ( slots.take(), nullptr );
    }
}

TEST( DaMemPoolThreadsTest, AStalledPutUsesTheSlotsThatWereMadeMeanwhile ) {
    DaMagazineSlotsOf<ScriptedSlot> slots;
    slots.reserve( 1 );
    std::list<DaMagazine> magazines;
    for( int i = 0; i < 40; ++i ) {
        magazines.emplace_back( 1u );
    }
    ScriptedSlot::beforeChange = [&] {
        slots.reserve( magazines.size() );
        for( auto one = std::next( magazines.begin() ); one != magazines.end(); ++one ) {
            slots.put( &*one );
        }
    };
    slots.put( &magazines.front() );
    std::set<DaMagazine*> taken;
    while( DaMagazine* const magazine = slots.take() ) {
        taken.insert( magazine );
    }
    EXPECT_EQ( taken.size(), magazines.size() );
}

using Nodes = std::set<void*>;

Nodes takeAll( CachedPool& pool, std::size_t nbNodes, std::size_t size = 64 ) {
    Nodes nodes;
    while( nodes.size() < nbNodes ) {
        nodes.insert( pool.alloc( size ) );
    }
    return nodes;
}

void freeAll( CachedPool& pool, const Nodes& nodes, std::size_t size = 64 ) {
    for( void* const node : nodes ) {
        pool.free( node, size );
    }
}

TEST( DaMemPoolThreadsTest, AThreadsEndReturnsItsNodes ) {
    // Fewer than a magazine has, about one, about two, and so many that some are in the depot.
    for( const std::size_t nbNodes : { 1u, 63u, 64u, 65u, 128u, 129u, 1000u } ) {
        CachedPool pool( "ends", 64, 64 * nbNodes, nbNodes );
        const Nodes nodes = takeAll( pool, nbNodes );
        const auto nbBytes = pool.getTotalSize();
        // By one thread, and by several of which none fills a magazine.
        for( const std::size_t nbThreads : { std::size_t{ 1 }, ( nbNodes + 42 ) / 43 } ) {
            std::vector<Nodes> shares( nbThreads );
            std::size_t next = 0;
            for( void* const node : nodes ) {
                shares[next++ % nbThreads].insert( node );
            }
            for( const Nodes& share : shares ) {
                TestThread( [&] { freeAll( pool, share ); } ).join();
            }
            EXPECT_EQ( takeAll( pool, nbNodes ), nodes );
            EXPECT_EQ( pool.getTotalSize(), nbBytes ) << nbNodes;
        }
    }
}

TEST( DaMemPoolThreadsTest, AThreadKeepsNoMoreThanTwoMagazines ) {
    CachedPool pool( "keeps", 16'384, 16'384, 1000 );
    for( const auto& [size, nbKept] :
         { std::pair<std::size_t, std::size_t>{ 64, 128 }, { 1024, 32 }, { 16'384, 2 } } ) {
        const Nodes nodes = takeAll( pool, 1000, size );
        Gate isFreed( "freed" );
        Gate mayEnd( "end" );
        TestThread other( [&, size = size] {
            freeAll( pool, nodes, size );
            isFreed.open();
            mayEnd.wait();
        } );
        isFreed.wait();
        const auto nbBytes = pool.getTotalSize();
        Nodes back;
        while( pool.getTotalSize() == nbBytes ) {
            back.insert( pool.alloc( size ) );
        }
        EXPECT_GE( back.size() + nbKept, nodes.size() ) << size;
        mayEnd.open();
        other.join();
        freeAll( pool, back, size );
    }
}

TEST( DaMemPoolThreadsTest, APoolsEndDisownsTheCachesOfThreadsThatGoOn ) {
    std::optional<CachedPool> pool;
    Gate filled[3] = { Gate( "filled 0" ), Gate( "filled 1" ), Gate( "filled 2" ) };
    Gate renewed[3] = { Gate( "renewed 0" ), Gate( "renewed 1" ), Gate( "renewed 2" ) };
    TestThread other( [&] {
        for( int i = 0; i < 3; ++i ) {
            renewed[i].wait();
            // In the second turn its cache is of the first pool, whose number the second one has.
            freeAll( *pool, takeAll( *pool, 200 ) );
            filled[i].open();
        }
    } );
    for( int i = 0; i < 3; ++i ) {
        pool.reset();
        pool.emplace( "renewed", 64u, 6400u, 100u );
        renewed[i].open();
        filled[i].wait();
    }
    other.join();
    // The end gave back what belongs to the third pool, and only that.
    const auto nbBytes = pool->getTotalSize();
    takeAll( *pool, 200 );
    EXPECT_EQ( pool->getTotalSize(), nbBytes );
    pool.reset();
    // An end after the pool's: nothing is there to return to, and the next pool isn't taken for it.
    Gate isUsed( "used" );
    Gate isGone( "gone" );
    pool.emplace( "gone", 64u, 6400u, 100u );
    TestThread late( [&] {
        freeAll( *pool, takeAll( *pool, 200 ) );
        isUsed.open();
        isGone.wait();
    } );
    isUsed.wait();
    pool.reset();
    pool.emplace( "next", 64u, 6400u, 100u );
    isGone.open();
    late.join();
    pool->alloc( 64 );
    EXPECT_EQ( pool->getTotalSize(), nbBytes / 2 );
}

TEST( DaMemPoolThreadsTest, ThreadLocalObjectsThatDieAfterTheCacheUseThePoolAllTheSame ) {
    static CachedPool* pool = nullptr;
    struct Late {
        ~Late() {
            // Also one that it frees again, for which it takes a magazine apart.
            pool->free( _node, 64 );
            pool->free( pool->alloc( 64 ), 64 );
        }
        void* _node = nullptr;
    };
    CachedPool ours( "late", 64, 6400, 100 );
    pool = &ours;
    Nodes nodes;
    TestThread( [&] {
        thread_local Late late;
        nodes = takeAll( ours, 100 );
        late._node = *nodes.begin();
        freeAll( ours, Nodes( std::next( nodes.begin() ), nodes.end() ) );
    } ).join();
    const auto nbBytes = ours.getTotalSize();
    EXPECT_EQ( takeAll( ours, 100 ), nodes );
    EXPECT_EQ( ours.getTotalSize(), nbBytes );
}

TEST( DaMemPoolThreadsTest, AThreadThatHasNoMemoryForItsCacheFreesAndAllocatesWithoutOne ) {
    CachedPool pool( "poor", 64, 64 * 300, 300 );
    const Nodes nodes = takeAll( pool, 300 );
    for( int nbSucceeding = 0; nbSucceeding < 8; ++nbSucceeding ) {
        TestThread( [&] {
            const FailingNew failing( nbSucceeding );
            for( void* const node : nodes ) {
                pool.free( node, 64 );
            }
            std::size_t nbFound = 0;
            for( ; nbFound < nodes.size(); ++nbFound ) {
                EXPECT_EQ( nodes.count( pool.alloc( 64 ) ), 1u );
            }
        } ).join();
    }
    EXPECT_EQ( pool.getTotalSize(), 300 * 64 + 8 + OsMemoryArch::getInstance().getCacheLineSize() );
}

#if defined( QV_POISONS_MEMORY )
extern "C" int __asan_address_is_poisoned( const volatile void* address );

TEST( DaMemPoolThreadsTest, TheSanitizerSeesWhatIsFreeAndWhatNobodyAskedFor ) {
    CachedPool pool( "poisoned", 64, 6400, 100 );
    auto* const node = static_cast<char*>( pool.alloc( 40 ) );
    const auto nbPoisoned = [&] {
        int count = 0;
        for( int i = 0; i < 64; ++i ) {
            count += __asan_address_is_poisoned( node + i );
        }
        return count;
    };
    EXPECT_EQ( nbPoisoned(), 24 );
    pool.free( node, 40 );
    EXPECT_EQ( nbPoisoned(), 56 );
    EXPECT_EQ( pool.alloc( 64 ), node );
    EXPECT_EQ( nbPoisoned(), 0 );
}
#endif

} // namespace
} // namespace Qv
