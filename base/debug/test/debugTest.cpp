#include <base/debug/dbgTestMgr.h>
#include <base/debug/hmGC.h>
#include <base/debug/lmLibraries.h>

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <memory>
#include <sstream>
#include <vector>

namespace Qv {

namespace {

using ::testing::HasSubstr;

class TestMgr : public DbgTestMgr {
public:
    using DbgTestMgr::setTestRunning;
};

/// Too large to come out of what an allocator keeps.
constexpr std::size_t BLOCK_SIZE = 16 << 20;
using Block = std::vector<char>;

TEST( DbgTestMgrTest, TestsRunFromTheMarkUntilItsManagerEnds ) {
    EXPECT_FALSE( DbgTestMgr::isTestRunning() );
    {
        TestMgr marking;
        marking.setTestRunning();
        { const TestMgr silent; }
        EXPECT_TRUE( DbgTestMgr::isTestRunning() );
    }
    EXPECT_FALSE( DbgTestMgr::isTestRunning() );
}

TEST( HmGCTest, ReportsWhatAScopeKeepsAndOnlyThat ) {
    // Whether a block is kept, a summary forced, the stack dumped, and something reported.
    const std::array<bool, 4> cases[] = { { true, false, false, true },
                                          { false, false, false, false },
                                          { false, true, false, true },
                                          { true, false, true, true } };
    for( const auto& [keeps, forcesSummary, dumpsStack, reports] : cases ) {
        // Given back within the scope, it pays for what else is allocated there.
        auto former = std::make_unique<Block>( BLOCK_SIZE );
        std::ostringstream report;
        std::unique_ptr<Block> kept;
        {
            HmGC leaks( false );
            leaks.setOutput( &report );
            leaks.setForceSummary( forcesSummary );
            leaks.setStackDump( dumpsStack );
            leaks.setActive( true );
            if( keeps ) {
                kept = std::make_unique<Block>( 2 * BLOCK_SIZE );
            }
            former.reset();
        }
        EXPECT_EQ( !report.str().empty(), reports ) << keeps << forcesSummary;
        EXPECT_EQ( report.str().find( "0x" ) != std::string::npos, dumpsStack );
    }
}

TEST( HmGCTest, RaisesWhatItKnowsExactlyAndOvertakesNoException ) {
#if defined( QV_SANITIZE_ADDRESS ) || defined( QV_SANITIZE_THREAD )
    constexpr bool isExact = true;
#else
    constexpr bool isExact = false;
#endif
    const auto leak = []( bool isThrowing ) {
        std::unique_ptr<Block> kept;
        HmGC leaks( true );
        leaks.setOutput( nullptr );
        leaks.setThrowException( true );
        kept = std::make_unique<Block>( BLOCK_SIZE );
        if( isThrowing ) {
            throw 7;
        }
        leaks.setActive( false );
    };
    EXPECT_EQ( HmGC::isMemDebugLoaded(), isExact );
    if( isExact ) {
        EXPECT_THROW( leak( false ), HmGC::ExLeak );
    } else {
        EXPECT_NO_THROW( leak( false ) );
    }
    EXPECT_THROW( leak( true ), int );
}

TEST( LmLibrariesTest, ListsTheProgramAndItsLibraries ) {
    std::ostringstream list;
    LmLibraries::dumpList( list );
    for( const char* part : { "(program)", "libstdc++", "libc." } ) {
        EXPECT_THAT( list.str(), HasSubstr( part ) );
    }
}

} // namespace

} // namespace Qv
