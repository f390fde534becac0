#include <base/failure/assertions.h>
#include <base/trace/traceManager.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <sstream>
#include <vector>

namespace Qv {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct RecordingTrace : Trace {
    void print( const std::string& line ) override { _lines.push_back( line ); }

    std::vector<std::string> _lines;
};

/// Takes all output of this test's thread.
struct RecordingManager : TraceManager {
    RecordingManager()
        : TraceManager( 0 ) {}
    Trace& getTrace() override { return _trace; }

    RecordingTrace _trace;
};

} // namespace

TEST( TraceTest, AnEntryTellsEnteringAndLeavingWhileItsLevelIsOpen ) {
    RecordingManager manager;
    TraceLevel* const level = Trace::registerLevel( "entries", "traceTest" );
    { const Trace::Entry closed( manager._trace, *level, "f", QV_HERE ); }
    EXPECT_TRUE( manager._trace._lines.empty() );

    level->setEnabled( true );
    {
        const Trace::Entry outer( manager._trace, *level, "outer", QV_HERE );
        const Trace::Entry inner( manager._trace, *level, "inner", QV_HERE );
        level->setEnabled( false );
    }
    EXPECT_THAT( manager._trace._lines,
                 ElementsAre( HasSubstr( "> outer" ), HasSubstr( "  > inner" ),
                              HasSubstr( "  < inner" ), HasSubstr( "< outer" ) ) );
}

TEST( TraceTest, LogWritesWhatTheStreamHoldsWithItsPlace ) {
    RecordingManager manager;
    std::ostringstream text;
    text << "header\x1b[2J " << 7 << "\nnext";
    TraceManager::getInstance().getTrace().log( text, "some\\file", 12 );
    EXPECT_THAT( manager._trace._lines,
                 ElementsAre( HasSubstr( "header?[2J 7\nnext  (some\\file:12)" ) ) );
    std::ostream noString( nullptr );
    EXPECT_THROW( manager._trace.log( noString, QV_HERE ), ExAssertionFailed );
}

TEST( TraceTest, LevelsAreOneForANameAndFileAndObeyTheEnvironment ) {
    const ScopedEnvironment environment( "QV_TRACE_LEVELS", "first,wanted" );
    TraceLevel* const wanted = Trace::registerLevel( "wanted", "traceTest" );
    TraceLevel* const unwanted = Trace::registerLevel( "want", "traceTest" );
    EXPECT_TRUE( Trace::isEnabled( *wanted ) );
    EXPECT_FALSE( Trace::isEnabled( *unwanted ) );
    EXPECT_EQ( Trace::registerLevel( "wanted", "traceTest" ), wanted );
    EXPECT_NE( Trace::registerLevel( "wanted", "elsewhere" ), wanted );
    EXPECT_TRUE( Trace::isEnabled( Trace::MainTraceLevel ) );

    std::ostringstream list;
    Trace::printLevels( list );
    EXPECT_THAT( list.str(), HasSubstr( "want (traceTest): off\n" ) );
}

TEST( TraceTest, TheNewestManagerIsInForceUntilItGoes ) {
    TraceManager& before = TraceManager::getInstance();
    {
        RecordingManager outer;
        {
            const RecordingManager inner;
            EXPECT_EQ( &TraceManager::getInstance(), &inner );
        }
        EXPECT_EQ( &TraceManager::getInstance(), &outer );
    }
    EXPECT_EQ( &TraceManager::getInstance(), &before );
}

TEST( TraceTest, EachThreadHasItsOwnTrace ) {
    Trace* const mine = &TraceManager::getInstance().getTrace();
    TestThread other( [&] { EXPECT_NE( &TraceManager::getInstance().getTrace(), mine ); } );
    other.join();
    EXPECT_EQ( &TraceManager::getInstance().getTrace(), mine );
}

} // namespace Qv
