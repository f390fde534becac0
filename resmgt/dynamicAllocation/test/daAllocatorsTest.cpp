#include <base/failure/exSysError.h>
#include <resmgt/dynamicAllocation/daFirstFitArena.h>
#include <resmgt/dynamicAllocation/daMallocAllocator.h>
#include <resmgt/dynamicAllocation/src/posix/daMemoryMapAllocatorPosix.h>
#include <tests/support/loggedLines.h>

#include <gmock/gmock.h>

#include <limits>
#include <new>
#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAreArray;

constexpr std::size_t MiB = 1 << 20;

// A heap that gives pieces up to a size, and a number of bytes in all. It hands out numbers.
class ScriptedHeap : public DaMallocAllocator {
public:
    ScriptedHeap( std::size_t largestPiece, std::size_t bytes )
        : _largestPiece( largestPiece )
        , _bytes( bytes ) {}

    std::vector<std::size_t> _tried;
    std::vector<void*> _live;

protected:
    void* allocatePiece( std::size_t size ) override {
        _tried.push_back( size );
        if( size > _largestPiece || size > _bytes ) {
            throw std::bad_alloc();
        }
        _bytes -= size;
        _live.push_back( reinterpret_cast<void*>( MiB * _tried.size() ) );
        return _live.back();
    }
    void deallocatePiece( void* piece ) noexcept override { std::erase( _live, piece ); }

private:
    const std::size_t _largestPiece;
    std::size_t _bytes;
};

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

TEST( DaMallocAllocatorTest, CutsAReservationIntoPiecesAsTheHeapAllows ) {
    const struct {
        std::size_t _asked;
        std::size_t _largestPiece;
        std::vector<std::size_t> _tried;
        std::vector<std::size_t> _pieces;
        std::vector<std::string> _logged = {};
    } cases[] = {
        { 70 * MiB, unlimited, { 70 * MiB }, { 70 * MiB } },
        { 520 * MiB, unlimited, { 512 * MiB, 64 * MiB }, { 512 * MiB, 64 * MiB } },
        { 0, unlimited, { 64 * MiB }, { 64 * MiB } },
        { 640 * MiB,
          256 * MiB,
          { 512 * MiB, 256 * MiB, 384 * MiB, 192 * MiB, 192 * MiB },
          { 256 * MiB, 192 * MiB, 192 * MiB } },
        { 10 * MiB,
          32 * MiB,
          { 64 * MiB },
          {},
          { "Warning: [Allocation     ] Requested allocation missing: 10485760 bytes." } },
        { 100 * MiB + 8, 96 * MiB, { 100 * MiB + 8, 50 * MiB, 64 * MiB }, { 50 * MiB, 64 * MiB } },
    };
    for( const auto& one : cases ) {
        LoggedLines lines;
        ScriptedHeap heap( one._largestPiece, unlimited );
        const auto pieces = heap.allocate( one._asked );
        EXPECT_EQ( lines.takeWithLevels(), one._logged ) << one._asked;
        EXPECT_THAT( heap._tried, ElementsAreArray( one._tried ) ) << one._asked;
        std::vector<std::size_t> sizes;
        for( std::size_t i = 0; i < pieces.size(); ++i ) {
            EXPECT_EQ( pieces[i].first, heap._live[i] );
            sizes.push_back( pieces[i].second );
            const DaFirstFitArena arena( pieces[i].first, pieces[i].second, nullptr );
            EXPECT_NO_THROW( arena.getStatistics() ) << pieces[i].second;
        }
        EXPECT_THAT( sizes, ElementsAreArray( one._pieces ) ) << one._asked;
        heap.deallocate( pieces, one._asked );
        EXPECT_TRUE( heap._live.empty() ) << one._asked;
    }
}

TEST( DaMallocAllocatorTest, AnExhaustedHeapEndsTheSearchWithWhatWasObtained ) {
    ScriptedHeap heap( unlimited, 700 * MiB + 100 );
    LoggedLines lines;
    const auto pieces = heap.allocate( 1024 * MiB );
    std::size_t sum = 0;
    for( const auto& piece : pieces ) {
        sum += piece.second;
    }
    EXPECT_THAT( lines.take(), ::testing::ElementsAre( ::testing::HasSubstr(
                                   "] Requested allocation missing: " +
                                   std::to_string( 1024 * MiB - sum ) + " bytes." ) ) );
    EXPECT_GT( sum, 700 * MiB - 4096 );
    EXPECT_LE( sum, 700 * MiB );
    ScriptedHeap empty( 0, 0 );
    EXPECT_TRUE( empty.allocate( unlimited ).empty() );
}

TEST( DaMallocAllocatorTest, PiecesOfTheRealHeapAreWritable ) {
    OPtr<DaMallocAllocator> allocator = DaMallocAllocator::create();
    const auto pieces = allocator->allocate( 1 );
    ASSERT_EQ( pieces.size(), 1u );
    static_cast<char*>( pieces[0].first )[64 * MiB - 1] = 1;
    allocator->deallocate( pieces, 1 );
}

TEST( DaMemoryMapAllocatorTest, GivesOneZeroedWritablePieceOrWithoutMemoryNone ) {
    DaMemoryMapAllocatorPosix allocator;
    const auto pieces = allocator.allocate( 10000 );
    ASSERT_EQ( pieces.size(), 1u );
    EXPECT_EQ( pieces[0].second, 10000u );
    char* const memory = static_cast<char*>( pieces[0].first );
    EXPECT_EQ( memory[9999], 0 );
    memory[9999] = 1;
    allocator.deallocate( pieces, 10000 );
    for( const std::size_t size : { std::size_t( 0 ), unlimited } ) {
        const auto none = allocator.allocate( size );
        EXPECT_TRUE( none.empty() ) << size;
        allocator.deallocate( none, size );
    }
}

TEST( DaMemoryMapAllocatorTest, AFailureToGiveThePieceBackIsRaised ) {
    DaMemoryMapAllocatorPosix allocator;
    DaArenaAllocator::Pieces unaligned;
    unaligned.emplace_back( reinterpret_cast<void*>( 1 ), 4096 );
    EXPECT_THROW( allocator.deallocate( unaligned, 4096 ), ExSysErrorWindows );
}

} // namespace
} // namespace Qv
