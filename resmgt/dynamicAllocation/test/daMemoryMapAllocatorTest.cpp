#include <base/failure/exSysError.h>
#include <resmgt/dynamicAllocation/src/posix/daMemoryMapAllocatorPosix.h>

#include <gmock/gmock.h>

#include <limits>

namespace Qv {
namespace {

TEST( DaMemoryMapAllocator, GivesOneZeroedWritablePieceOrWithoutMemoryNone ) {
    DaMemoryMapAllocatorPosix allocator;
    const auto pieces = allocator.allocate( 10000 );
    ASSERT_EQ( pieces.size(), 1u );
    EXPECT_EQ( pieces[0].second, 10000u );
    char* const memory = static_cast<char*>( pieces[0].first );
    EXPECT_EQ( memory[9999], 0 );
    memory[9999] = 1;
    allocator.deallocate( pieces, 10000 );
    for( const std::size_t size : { std::size_t( 0 ), std::numeric_limits<std::size_t>::max() } ) {
        const auto none = allocator.allocate( size );
        EXPECT_TRUE( none.empty() ) << size;
        allocator.deallocate( none, size );
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
