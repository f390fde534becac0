#include <base/failure/assertions.h>
#include <resmgt/dynamicAllocation/daFirstFitArena.h>
#include <resmgt/dynamicAllocation/test/plainArena.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <new>
#include <random>
#include <sstream>
#include <vector>

namespace Qv {
namespace {

using ::testing::HasSubstr;

// Addresses that nothing is mapped to: touching the arena's memory ends the test.
constexpr std::uint64_t base = 0x10000000;

void* at( std::uint64_t address ) {
    return reinterpret_cast<void*>( static_cast<std::uintptr_t>( address ) );
}

std::uint64_t addressOf( void* memory ) {
    return reinterpret_cast<std::uintptr_t>( memory );
}

void expectAssertion( const std::function<void()>& action, const char* text ) {
    EXPECT_THAT( raisedBy<ExAssertionFailed>( action ), HasSubstr( text ) );
}

TEST( DaFirstFitArenaTest, AnOddSizeIsManagedWholeButFailsTheInvariant ) {
    DaFirstFitArena arena( at( base + 0x1c ), 100 + 128 + 200, "gapped" );
    EXPECT_EQ( addressOf( arena.allocate( 128, 128 ) ), base + 128 );
    EXPECT_EQ( arena.getFreeBytes(), 300u );
    std::ostringstream text;
    expectAssertion( [&] { arena.dump( text ); }, "allocBytes + freeBytes == _poolSize" );
    EXPECT_EQ( text.str(), "DaFirstFitArena: gapped\n  free block map:\n"
                           "    0x1000001c  100\n    0x10000100  200\n" );
}

TEST( DaFirstFitArenaTest, FreeingWhatIsNoLiveBlockChangesNothing ) {
    DaFirstFitArena arena( at( base ), 96, nullptr );
    void* const block = arena.allocate( 32, 0 );
    EXPECT_FALSE( arena.free( nullptr ) );
    EXPECT_FALSE( arena.free( at( base + 8 ) ) );
    EXPECT_FALSE( arena.free( at( base + 96 ) ) );
    EXPECT_EQ( arena.getFreeBytes(), 64u );
    EXPECT_TRUE( arena.free( block ) );
    EXPECT_FALSE( arena.free( block ) );
    EXPECT_EQ( arena.getFreeBytes(), 96u );
}

TEST( DaFirstFitArenaTest, RequestsNearTheEndOfTheNumberRangeAreRefused ) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    constexpr std::uint64_t high = largest - 4096 + 1;
    DaFirstFitArena arena( at( high + 8 ), 4080, nullptr );
    EXPECT_EQ( arena.allocate( largest, 0 ), nullptr );
    EXPECT_EQ( arena.allocate( largest - 7, 0 ), nullptr );
    EXPECT_EQ( arena.allocate( largest - 7, 4096 ), nullptr );
    EXPECT_EQ( arena.allocate( 8, 4096 ), nullptr ) << "rounded up, the address wraps";
    EXPECT_EQ( arena.allocate( 8, std::uint64_t( 1 ) << 63 ), nullptr );
    EXPECT_EQ( addressOf( arena.allocate( 4080, 8 ) ), high + 8 );
}

TEST( DaFirstFitArenaTest, WithoutAFreeBlockTheStatisticsSaySo ) {
    DaFirstFitArena empty( at( base ), 0, nullptr );
    DaFirstFitArena full( at( base ), 16, nullptr );
    full.allocate( 16, 0 );
    for( DaFirstFitArena* arena : { &empty, &full } ) {
        EXPECT_EQ( arena->allocate( 1, 0 ), nullptr );
        EXPECT_EQ( arena->getStatistics().getNbFreeBlocks(), 0u );
        EXPECT_EQ( arena->getStatistics().getSmallestFreeBlock(), ~std::uint64_t( 0 ) );
        EXPECT_EQ( arena->getStatistics().getLargestFreeBlock(), 0u );
    }
}

TEST( DaFirstFitArenaTest, ZeroOrMixedAlignmentsAreReported ) {
    DaFirstFitArena::Statistics sum;
    expectAssertion( [&] { sum += DaFirstFitArena::Statistics(); }, "_alignment != 0" );
    sum += DaFirstFitArena( at( base ), 64, nullptr ).getStatistics();
    expectAssertion( [&] { sum += DaFirstFitArena::Statistics(); },
                     "_alignment == rhs._alignment" );
    expectAssertion( [] { DaFirstFitArena::roundUp( 17, 0 ); }, "alignment != 0" );
}

void expectStatistics( const DaFirstFitArena::Statistics& statistics, const PlainArena& plain ) {
    EXPECT_EQ( statistics.getNbFreeBlocks(), plain.getNbFree() );
    EXPECT_EQ( statistics.getNbAllocBlocks(), plain.getNbLive() );
    if( plain.getNbFree() != 0 ) {
        EXPECT_EQ( statistics.getSmallestFreeBlock(), plain.getSmallestFree() );
        EXPECT_EQ( statistics.getLargestFreeBlock(), plain.getLargestFree() );
    }
}

// What a random run is made of.
struct Traffic {
    const char* _name;
    std::uint64_t _base;
    std::uint64_t _size;
    std::vector<std::uint64_t> _sizes;
    std::uint64_t _sizeJitter;
    std::vector<std::uint64_t> _alignments;
};

void runTraffic( const Traffic& traffic ) {
    std::mt19937_64 random( testSeed() );
    DaFirstFitArena arena( at( traffic._base ), traffic._size, nullptr );
    PlainArena plain( traffic._base, traffic._size );
    std::vector<std::uint64_t> live;
    const auto below = [&]( std::uint64_t limit ) { return random() % limit; };
    const auto oneOf = [&]( auto& values ) -> auto& {
        return values[below( values.size() )];
    };
    for( long step = 0; step < scaledCount( 60000 ); ++step ) {
        // It fills up and drains, again and again.
        const std::uint64_t toAllocate = step / 3000 % 2 == 0 ? 6 : 4;
        if( live.empty() || below( 10 ) < toAllocate ) {
            const std::uint64_t size = oneOf( traffic._sizes ) + below( traffic._sizeJitter + 1 );
            const std::uint64_t alignment = oneOf( traffic._alignments );
            const std::uint64_t block = addressOf( arena.allocate( size, alignment ) );
            ASSERT_EQ( block, plain.allocate( size, alignment ) ) << "step " << step;
            if( block != 0 ) {
                live.push_back( block );
            }
        } else {
            std::swap( oneOf( live ), live.back() );
            ASSERT_TRUE( arena.free( at( live.back() ) ) );
            ASSERT_TRUE( plain.free( live.back() ) );
            live.pop_back();
        }
        ASSERT_EQ( arena.getFreeBytes(), plain.getFreeSpace() ) << "step " << step;
        if( step % 1000 == 0 ) {
            expectStatistics( arena.getStatistics(), plain );
        }
    }
}

TEST( DaFirstFitArenaTest, ChoosesTheVeryBlocksThatThePlainIndexesChoose ) {
    const Traffic all[] = {
        { "images", base, 0x40000000, { 1024, 8192, 65536, 524288 }, 524288, { 128 } },
        { "oneSize", base, 64 * 4096, { 4096 - 7 }, 7, { 0, 8 } },
        { "tinySizes", base + 8, 65536, { 0 }, 200, { 0, 8, 16, 64, 4096 } },
        { "oddBase", base + 3, 40000, { 1, 100, 1000 }, 3, { 0, 1, 2, 4, 8, 32 } },
        { "fewSizes", base, 1 << 20, { 64, 128, 192, 1024 }, 0, { 0, 256 } },
    };
    for( const Traffic& traffic : all ) {
        SCOPED_TRACE( traffic._name );
        runTraffic( traffic );
    }
}

TEST( DaFirstFitArenaTest, WithoutMemoryForItsBookKeepingTheArenaStaysAsItWas ) {
    DaFirstFitArena arena( at( base ), 1 << 20, nullptr );
    PlainArena plain( base, 1 << 20 );
    std::array<int, 3> nbFailures{};
    for( int i = 0; i < 3000; ++i ) {
        const auto before = arena.getStatistics();
        for( std::size_t nbSucceeding = 0; nbSucceeding < nbFailures.size(); ++nbSucceeding ) {
            try {
                std::uint64_t block = 0;
                {
                    const FailingNew failing( static_cast<int>( nbSucceeding ) );
                    block = addressOf( arena.allocate( 24, 64 ) );
                }
                ASSERT_EQ( block, plain.allocate( 24, 64 ) );
                break;
            } catch( const std::bad_alloc& ) {
                ++nbFailures[nbSucceeding];
                ASSERT_EQ( arena.getStatistics().getNbFreeBlocks(), before.getNbFreeBlocks() );
                ASSERT_EQ( arena.getFreeBytes(), before.getFreeBytes() );
            }
        }
    }
    EXPECT_GT( nbFailures[0], 3 ) << "the book-keeping never grew";
    EXPECT_EQ( nbFailures[2], 0 );
    for( std::uint64_t block = base; block < base + ( 1 << 20 ); block += 64 ) {
        const bool isLive = plain.free( block );
        const FailingNew failing( 0 );
        ASSERT_EQ( arena.free( at( block ) ), isLive );
    }
    EXPECT_EQ( arena.getStatistics().getNbFreeBlocks(), 1u );
}

} // namespace
} // namespace Qv
