#include <base/debug/dbgTestGroup.h>
#include <base/debug/dbgTestMgr.h>
#include <base/debug/hmGC.h>
#include <base/debug/lmLibraries.h>

#include <gmock/gmock.h>

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

TEST( DbgTestMgrTest, testsRunFromTheMarkUntilItsManagerEnds ) {
    EXPECT_FALSE( DbgTestMgr::isTestRunning() );
    {
        TestMgr marking;
        marking.setTestRunning();
        { const TestMgr silent; }
        EXPECT_TRUE( DbgTestMgr::isTestRunning() );
    }
    EXPECT_FALSE( DbgTestMgr::isTestRunning() );
}

TEST( HmGCTest, reportsWhatAScopeKeepsAndOnlyThat ) {
    struct Case {
        bool _keeps;
        bool _forcesSummary;
        bool _reports;
    };
    for( const Case& c :
         { Case{ true, false, true }, Case{ false, false, false }, Case{ false, true, true } } ) {
        // Given back within the scope, it pays for what else is allocated there.
        auto former = std::make_unique<Block>( BLOCK_SIZE );
        std::ostringstream report;
        std::unique_ptr<Block> kept;
        {
            HmGC leaks( false );
            leaks.setOutput( &report );
            leaks.setForceSummary( c._forcesSummary );
            leaks.setActive( true );
            if( c._keeps ) {
                kept = std::make_unique<Block>( 2 * BLOCK_SIZE );
            }
            former.reset();
        }
        EXPECT_EQ( !report.str().empty(), c._reports ) << c._keeps << c._forcesSummary;
        EXPECT_THAT( report.str(), ::testing::Not( HasSubstr( "0x" ) ) );
    }
}

TEST( HmGCTest, aStackStandsInAReportThatAsksForIt ) {
    std::ostringstream report;
    std::unique_ptr<Block> kept;
    HmGC leaks( true );
    leaks.setOutput( &report );
    leaks.setStackDump( true );
    kept = std::make_unique<Block>( BLOCK_SIZE );
    leaks.setActive( false );
    EXPECT_THAT( report.str(), HasSubstr( "0x" ) );
}

TEST( HmGCTest, raisesWhatItKnowsExactlyAndNeverAnEstimate ) {
    const auto leak = [] {
        std::unique_ptr<Block> kept;
        HmGC leaks( true );
        leaks.setOutput( nullptr );
        leaks.setThrowException( true );
        kept = std::make_unique<Block>( BLOCK_SIZE );
        leaks.setActive( false );
    };
    if( HmGC::isMemDebugLoaded() ) {
        EXPECT_THROW( leak(), HmGC::ExLeak );
    } else {
        EXPECT_NO_THROW( leak() );
    }
}

TEST( HmGCTest, anExceptionUnderWayIsNotOvertaken ) {
    std::unique_ptr<Block> kept;
    try {
        HmGC leaks( true );
        leaks.setOutput( nullptr );
        leaks.setThrowException( true );
        kept = std::make_unique<Block>( BLOCK_SIZE );
        throw 7;
    } catch( const int number ) {
        EXPECT_EQ( number, 7 );
    }
}

TEST( HmGCTest, knowsWhetherASanitizersAllocatorIsLoaded ) {
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
    EXPECT_TRUE( HmGC::isMemDebugLoaded() );
#else
    EXPECT_FALSE( HmGC::isMemDebugLoaded() );
#endif
}

TEST( LmLibrariesTest, listsTheProgramAndItsLibraries ) {
    std::ostringstream list;
    LmLibraries::dumpList( list );
    for( const char* part : { "(program)", "libstdc++", "libc." } ) {
        EXPECT_THAT( list.str(), HasSubstr( part ) );
    }
}

} // namespace

} // namespace Qv
