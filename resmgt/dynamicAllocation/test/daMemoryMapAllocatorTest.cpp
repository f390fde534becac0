#include <base/failure/exSysError.h>
#include <resmgt/dynamicAllocation/src/posix/daMemoryMapAllocatorPosix.h>

#include <gmock/gmock.h>

#include <limits>

namespace Qv {
namespace {

TEST( DaMemoryMapAllocator, GivesOneZeroedWritablePiece ) {
    DaMemoryMapAllocatorPosix allocator;
    const auto pieces = allocator.allocate( 10000 );
    ASSERT_EQ( pieces.size(), 1u );
    EXPECT_EQ( pieces[0].second, 10000u );
    char* const memory = static_cast<char*>( pieces[0].first );
    EXPECT_EQ( memory[9999], 0 );
    memory[9999] = 1;
    allocator.deallocate( pieces, 10000 );
}

TEST( DaMemoryMapAllocator, WithoutMemoryTheListIsEmpty ) {
    DaMemoryMapAllocatorPosix allocator;
    for( const std::size_t size : { std::size_t( 0 ), std::numeric_limits<std::size_t>::max() } ) {
        const auto pieces = allocator.allocate( size );
        EXPECT_TRUE( pieces.empty() ) << size;
        allocator.deallocate( pieces, size );
    }
}

TEST( DaMemoryMapAllocator, AFailureToGiveThePieceBackIsRaised ) {
    DaMemoryMapAllocatorPosix allocator;
    DaArenaAllocator::Pieces unaligned;
    unaligned.emplace_back( reinterpret_cast<void*>( 1 ), 4096 );
    EXPECT_THROW( allocator.deallocate( unaligned, 4096 ), ExSysErrorWindows );
}

} // namespace
} // namespace Qv
