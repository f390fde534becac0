#include <base/failure/assertions.h>
#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/loggedLines.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <new>
#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// What an allocator went through, in order; short texts, which need no memory.
using Record = std::vector<std::string>;

// Gives pieces of these sizes at 0x10000, 0x20000, ...; nothing is mapped there.
class ScriptedAllocator : public DaArenaAllocator {
public:
    ScriptedAllocator( std::vector<std::size_t> sizes, Record& record )
        : _sizes( std::move( sizes ) )
        , _record( record ) {}
    ~ScriptedAllocator() override { _record.push_back( "deleted" ); }

    Pieces allocate( std::size_t size ) override {
        Pieces result;
        for( const std::size_t one : _sizes ) {
            result.emplace_back( reinterpret_cast<void*>( 0x10000 * ( result.size() + 1 ) ), one );
        }
        _record.push_back( "allocate " + std::to_string( size ) );
        return result;
    }
    void deallocate( const Pieces& pieces, std::size_t size ) override {
        _record.push_back( "free " + std::to_string( pieces.size() ) + " of " +
                           std::to_string( size ) );
    }

private:
    const std::vector<std::size_t> _sizes;
    Record& _record;
};

class DaArenaPoolTest : public ::testing::Test {
protected:
    OPtrRet<DaArenaPool> create( std::vector<std::size_t> sizes, std::size_t size ) {
        return DaArenaPool::create( new ScriptedAllocator( std::move( sizes ), _record ), size );
    }

    Record _record;
};

void* at( std::uintptr_t address ) {
    return reinterpret_cast<void*>( address );
}

TEST_F( DaArenaPoolTest, ABlockLiesInTheFirstPieceThatHasRoom ) {
    OPtr<DaArenaPool> pool = create( { 64, 256, 128 }, 448 );
    EXPECT_EQ( pool->allocate( 128 ), at( 0x20000 ) );
    EXPECT_EQ( pool->allocate( 48, 32 ), at( 0x10000 ) );
    EXPECT_EQ( pool->allocate( 128, 0 ), at( 0x20080 ) );
    EXPECT_EQ( pool->allocate( 128, 0 ), at( 0x30000 ) );
    EXPECT_EQ( pool->allocate( 24 ), nullptr );
    EXPECT_EQ( pool->getFreeBytes(), 16u );
    for( const std::uintptr_t block : { 0x30000u, 0x10000u, 0x20000u, 0x20080u } ) {
        pool->free( at( block ) );
    }
    EXPECT_EQ( pool->getFreeBytes(), 448u );
    EXPECT_EQ( pool->allocate( 264 ), nullptr ) << "no block spans two pieces";
}

TEST_F( DaArenaPoolTest, FreeingWhatItDoesntKnowAbortsTheProgramAlsoWhereItGotNothing ) {
    OPtr<DaArenaPool> pool = create( { 64, 64 }, 128 );
    for( const std::uintptr_t block : { 0x0u, 0x10000u, 0x20008u } ) {
        EXPECT_THAT( raisedBy<ExProgramAborted>( [&] { pool->free( at( block ) ); } ),
                     HasSubstr( "Trying to free an unknown memory block." ) )
            << block;
    }
    LoggedLines lines;
    OPtr<DaArenaPool> empty = create( {}, 4096 );
    EXPECT_THAT(
        lines.takeWithLevels(),
        ::testing::ElementsAre( "Error: [Allocation     ] No memory available for arena." ) );
    EXPECT_EQ( empty->allocate( 1 ), nullptr );
    EXPECT_EQ( empty->getFreeBytes(), 0u );
    EXPECT_THROW( empty->free( nullptr ), ExProgramAborted );
}

TEST_F( DaArenaPoolTest, LiveBlocksAreReportedOnceTheMemoryIsGone ) {
    DaArenaPool* const pool = OPtr<DaArenaPool>( create( { 64 }, 64 ) ).release();
    pool->allocate( 8 );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { delete pool; } ),
                 HasSubstr( "_nbAllocated == 0" ) );
    EXPECT_EQ( _record, ( Record{ "allocate 64", "free 1 of 64", "deleted" } ) );
}

TEST_F( DaArenaPoolTest, AFailedConstructionGivesEverythingBack ) {
    _record.reserve( 8 );
    for( int nbSucceeding = 0;; ++nbSucceeding ) {
        _record.clear();
        auto* const allocator = new ScriptedAllocator( { 64, 64 }, _record );
        try {
            const FailingNew failing( nbSucceeding );
            const OPtr<DaArenaPool> pool = DaArenaPool::create( allocator, 100 );
            break;
        } catch( const std::bad_alloc& ) {
            ASSERT_FALSE( _record.empty() ) << "the allocator is lost at " << nbSucceeding;
            EXPECT_EQ( _record.back(), "deleted" );
            EXPECT_NE( _record.size(), 2u ) << "the pieces are lost at " << nbSucceeding;
        }
    }
    EXPECT_EQ( _record, ( Record{ "allocate 100", "free 2 of 100", "deleted" } ) );
}

TEST_F( DaArenaPoolTest, TheDumpShowsEachArenaAndTheirSum ) {
    OPtr<DaArenaPool> pool = create( { 64, 192 }, 250 );
    void* const block = pool->allocate( 128 );
    const std::string dump = dumpOf( *pool );
    EXPECT_THAT( dump, StartsWith( "DaArenaPoolImp:\n"
                                   " Size         = 250\n"
                                   " Nb arenas    = 2\n"
                                   " Nb allocated = 1\n"
                                   "----------------\n"
                                   "Arena 0 [<Unnamed arena>]\n"
                                   "  alignment         : 8 bytes\n"
                                   "  size              : 64 bytes\n" ) );
    EXPECT_THAT( dump, HasSubstr( "Arena 1 [<Unnamed arena>]\n" ) );
    EXPECT_THAT( dump, EndsWith( "================\n"
                                 "Aggregated:\n"
                                 "  alignment         : 8 bytes\n"
                                 "  size              : 256 bytes\n"
                                 "  alloc bytes       : 128 bytes (50%)\n"
                                 "  free  bytes       : 128 bytes (50%)\n"
                                 "  nb alloc blks     : 1\n"
                                 "  nb free  blks     : 2\n"
                                 "  smallest free blk : 64\n"
                                 "  largest free blk  : 64\n" ) );
    pool->free( block );
}

} // namespace
} // namespace Qv
