#include <resmgt/logger/qvLog.h>

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/profiler.h>

#include <tests/support/loggedLines.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

namespace LgGroups {

constinit LgPackageGroup MinorLevelStage( "Stage", "Stage" );
constinit LgPackageGroup MinorLevelALongNameOfAGroup( "Stage", "ALongNameOfAGroup" );
constinit LgPackageGroup MinorLevelNever( "Stage", "Never" );

} // namespace LgGroups

namespace {

using ::testing::ElementsAre;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

/// Raises when it is written.
struct Broken {};

LgStream& operator<<( LgStream&, const Broken& ) {
    throw std::runtime_error( "operator" );
}

/// Logs a line of its own when it is written.
struct Talkative {};

LgStream& operator<<( LgStream& stream, const Talkative& ) {
    QV_LOG( Stage, Warning, "inner" );
    return stream << "outer";
}

/// Logs before `main` and behind its end, where the environment asks for it.
struct StaticTalker {
    StaticTalker() { talk( "constructed" ); }
    StaticTalker( const StaticTalker& ) = delete;
    StaticTalker& operator=( const StaticTalker& ) = delete;
    ~StaticTalker() { talk( "destroyed" ); }
    static void talk( const char* text ) {
        if( std::getenv( "QV_TEST_TALK_IN_STATICS" ) != nullptr ) {
            QV_LOG( Stage, Warning, text );
            QV_LOG( Logger, Informational, text );
            QV_LOG( Logger, Tracing, text );
        }
    }
} const staticTalker;

class QvLogTest : public ::testing::Test {
protected:
    QvLogTest() {
        LgGroups::MinorLevelStage.create();
        LgGroups::MinorLevelALongNameOfAGroup.create();
        _lines.emplace();
    }
    ~QvLogTest() override {
        _lines.reset();
        LgMajorGroup::getInstanceForName( "Stage" ).setLogThreshold( LgTypes::Informational, true );
        LgGroups::MinorLevelALongNameOfAGroup.destroy();
        LgGroups::MinorLevelStage.destroy();
    }

    LgQueue& getQueue() { return _lines->getQueue(); }
    std::vector<std::string> takeLines() { return _lines->take(); }

    std::optional<LoggedLines> _lines;
};

constexpr const char* const HEAD = "[Stage          ] ";

std::string line( const std::string& text ) {
    return HEAD + text;
}

TEST_F( QvLogTest, AnOpenStatementIsOneEntryWithItsLevelAndGroup ) {
    QV_LOG( Stage, Error, "tile ", std::size_t{ 7 }, std::string( " took " ), 0.5, 's' );
    EXPECT_THAT( _lines->takeWithLevels(),
                 ElementsAre( "Error: " + line( "tile 7 took 0.500000s" ) ) );
    QV_LOG( ALongNameOfAGroup, Error, "x" );
    QV_LOG( Stage, Error, "" );
    EXPECT_THAT( takeLines(), ElementsAre( "[ALongNameOfAGroup] x", line( "" ) ) );
}

TEST_F( QvLogTest, ArgumentsAreEvaluatedOnceAndOnlyAtAnOpenLevelAndMayLogThemselves ) {
    int nbCalls = 0;
    const auto call = [&] {
        QV_LOG( Stage, Warning, "by the way ", ++nbCalls );
        return nbCalls;
    };
    QV_LOG( Stage, Tracing, call() );
    EXPECT_EQ( nbCalls, 0 );
    QV_LOG( Stage, Warning, "main ", call() );
    EXPECT_THAT( takeLines(), ElementsAre( line( "by the way 1" ), line( "main 1" ) ) );
    const auto raise = []() -> int { throw std::runtime_error( "argument" ); };
    EXPECT_THROW( QV_LOG( Stage, Warning, "a", raise() ), std::runtime_error );
    EXPECT_THAT( takeLines(), ElementsAre() );
    // A statement is one, whatever it stands under.
    if( nbCalls == 0 )
        QV_LOG( Stage, Warning, "a" );
    else
        QV_LOG( Stage, Warning, "b" );
    EXPECT_THAT( takeLines(), ElementsAre( line( "b" ) ) );
}

TEST_F( QvLogTest, AnOperatorCantHarmTheStatementByRaisingOrLogging ) {
    QV_LOG( Stage, Warning, "a", Broken(), "b" );
    QV_LOG( Stage, Warning, Talkative() );
    EXPECT_THAT( takeLines(), ElementsAre( line( "a#" ), line( "outer" ), "[1]" ) );
    QV_LOG( Stage, Warning, "next" );
    EXPECT_THAT( takeLines(), ElementsAre( line( "next" ) ) );
}

TEST_F( QvLogTest, PiecesThatDontFitAreMarkedEachByItself ) {
    // What is free decides about the head's three pieces and the text.
    const struct {
        std::size_t nbTaken;
        const char* text;
    } cases[] = { { 40, "[Stage          ] ab" },
                  { 42, "[Stage          ] #" },
                  { 48, "[#] ab" },
                  { 58, "[##" } };
    for( const auto& c : cases ) {
        _lines.emplace( LgQueue::Sizes{ 64, 8 } );
        ASSERT_TRUE( getQueue().reserveEntry( LgTypes::Warning ) );
        getQueue().getStream() << std::string( c.nbTaken, 'x' ) << endString;
        getQueue().addEntry();
        QV_LOG( Stage, Warning, "ab" );
        EXPECT_THAT( takeLines(), ElementsAre( std::string( c.nbTaken, 'x' ), c.text ) );
    }
}

TEST_F( QvLogTest, TheLimitedFormsCountWhatTheyLeaveOut ) {
    // A place keeps its limit when the test is repeated; six statements leave it at its turn.
    static bool isRepeated = false;
    const std::uint64_t untold = LgLimit::getNbUntold();
    std::vector<std::string> expected;
    for( int i = 0; i < 6; ++i ) {
        QV_LOG_ONCE( Stage, Warning, "once ", i );
        QV_LOG_EVERY( Stage, Warning, 3, "third ", i );
        QV_LOG_EVERY( Stage, Warning, 0, "all ", i );
        QV_LOG_EVERY( Stage, Tracing, 3, "closed ", i );
        QV_LOG_PER_SECOND( Stage, Warning, 0, "none ", i );
        if( i == 0 && !isRepeated ) {
            expected.push_back( line( "once 0" ) );
        }
        if( i % 3 == 0 ) {
            expected.push_back( line( "third " + std::to_string( i ) +
                                      ( i != 0 || isRepeated ? " (left out: 2)" : "" ) ) );
        }
        expected.push_back( line( "all " + std::to_string( i ) ) );
    }
    EXPECT_EQ( takeLines(), expected );
    EXPECT_EQ( LgLimit::getNbUntold() - untold, isRepeated ? 6U + 6U : 5U + 2U + 6U );
    isRepeated = true;
}

TEST_F( QvLogTest, WhatALostLineShouldHaveCountedTheNextOneCounts ) {
    _lines.emplace( LgQueue::Sizes{ 256, 8 } );
    const auto logEverySecond = [] { QV_LOG_EVERY( Stage, Warning, 2, "x" ); };
    logEverySecond();
    const std::uint64_t untold = LgLimit::getNbUntold();
    logEverySecond();
    while( !getQueue().isFull() ) {
        QV_LOG( Stage, Warning, "y" );
    }
    logEverySecond();
    EXPECT_EQ( LgLimit::getNbUntold() - untold, 1U );
    EXPECT_EQ( takeLines().back(), "[1]" );
    logEverySecond();
    logEverySecond();
    EXPECT_THAT( takeLines(), ElementsAre( line( "x (left out: 2)" ) ) );
    EXPECT_EQ( LgLimit::getNbUntold(), untold );
    logEverySecond();
}

TEST_F( QvLogTest, ThreadsThatShareALimitPassAndLeaveOutExactlyAllOfTheirStatements ) {
    constexpr std::uint64_t PER_SECOND = 100;
    const std::uint64_t untold = LgLimit::getNbUntold();
    const long nbCalls = scaledCount( 100000 );
    LgLimit limits[3];
    std::atomic<std::uint64_t> nbPassed[3] = {};
    std::atomic<std::uint64_t> nbTold = 0;
    const double begin = HwCounter::seconds();
    TestThreads( 4, [&] {
        for( long i = 0; i < nbCalls; ++i ) {
            const LgLimit::Pass passes[] = { limits[0].passOnce(), limits[1].passEvery( 5 ),
                                             limits[2].passPerSecond( PER_SECOND ) };
            for( int k = 0; k < 3; ++k ) {
                nbPassed[k] += passes[k].isOpen ? 1 : 0;
                nbTold += passes[k].nbLeftOut;
            }
        }
    } ).join();
    const auto nbSeconds = static_cast<std::uint64_t>( HwCounter::seconds() - begin ) + 2;
    const auto all = static_cast<std::uint64_t>( 4 * nbCalls );
    EXPECT_EQ( nbPassed[0], 1U );
    EXPECT_EQ( nbPassed[1], ( all + 4 ) / 5 );
    EXPECT_GE( nbPassed[2], PER_SECOND );
    EXPECT_LE( nbPassed[2], PER_SECOND * nbSeconds );
    EXPECT_EQ( nbPassed[0] + nbPassed[1] + nbPassed[2] + nbTold + LgLimit::getNbUntold() - untold,
               3 * all );
}

TEST_F( QvLogTest, WithoutAQueueOrAGroupAStatementIsWrittenAtOnce ) {
    LgLog::setQueueFunction( []() -> LgQueue* { return nullptr; } );
    for( const bool isActive : { true, false } ) {
        LgLog::setLoggerActivation( isActive );
        CaptureStdout();
        QV_LOG( Never, Warning, "no group ", 1 );
        QV_LOG( Never, Tracing, "closed" );
        EXPECT_THAT( GetCapturedStdout(),
                     ::testing::MatchesRegex(
                         "[0-9:.]+ \\[Warning       \\] \\[Never          \\] no group 1\n" ) );
    }
    EXPECT_THAT( takeLines(), ElementsAre() );
}

TEST_F( QvLogTest, ProfilingIsDroppedWhereverThereIsNoQueue ) {
    LgMajorGroup::parse( "Stage=Profiling" );
    QV_LOG( Stage, Profiling, "queued" );
    EXPECT_THAT( takeLines(), ElementsAre( line( "queued" ) ) );
    LgMajorGroup::setDefaultThreshold( LgTypes::Profiling );
    LgLog::setLoggerActivation( false );
    const LgLog::Counters before = LgLog::getCounters();
    CaptureStdout();
    EXPECT_TRUE( LgGroups::MinorLevelNever.isLevelEnabled( LgTypes::Profiling ) );
    QV_LOG( Never, Profiling, "no group" );
    QV_LOG( Stage, Profiling, "no queue" );
    LgMajorGroup::setDefaultThreshold( LgTypes::Informational );
    EXPECT_EQ( GetCapturedStdout(), "" );
    EXPECT_EQ( LgLog::getCounters().written, before.written );
}

TEST( QvLogStaticsTest, StatementsOfStaticConstructorsAndDestructorsReachStandardOutput ) {
    const ScopedEnvironment talk( "QV_TEST_TALK_IN_STATICS", "1" );
    const std::string program = std::filesystem::read_symlink( "/proc/self/exe" );
    CaptureStdout();
    EXPECT_EQ( std::system( ( '"' + program + "\" --gtest_filter=None" ).c_str() ), 0 );
    std::istringstream output( GetCapturedStdout() );
    std::vector<std::string> lines;
    for( std::string one; std::getline( output, one ); ) {
        if( one.starts_with( "00:00:" ) ) {
            lines.push_back( one );
        }
    }
    EXPECT_THAT( lines, ElementsAre( "00:00:00.00 [Warning       ] [Stage          ] constructed",
                                     "00:00:00.00 [Informational ] [Logger         ] constructed",
                                     "00:00:00.00 [Warning       ] [Stage          ] destroyed",
                                     "00:00:00.00 [Informational ] [Logger         ] destroyed" ) );
}

TEST( QvLogDeathTest, AStandardOutputThatTakesNothingIsReportedOnceForAllStatements ) {
    EXPECT_EXIT(
        {
            ::dup2( ::open( "/dev/full", O_WRONLY ), STDOUT_FILENO );
            QV_LOG( Never, Warning, "no group" );
            QV_LOG( Never, Warning, "no group" );
            LgLog::destroy();
            QV_LOG( Logger, Warning, "no targets" );
            ::_exit( LgLog::getCounters().failed == 3 ? 0 : 1 );
        },
        ::testing::ExitedWithCode( 0 ), "^The log can't be echoed: [^\n]*\n$" );
}

TEST( LgProfilerTest, AProfilerIsWrittenAsTheLogShowsIt ) {
    /// Statistics that nobody has measured.
    class Scripted final : public ProfilerBase {
    public:
        explicit Scripted( double most )
            : _most( most ) {}
        void setName( const char* ) override {}
        const char* getName() const override { return "decode"; }
        void start() override {}
        void stop() override {}
        void endCycle() override {}
        void reset() override {}
        double currentTime() const override { return 0.0; }
        double totalTime() const override { return 3.0; }
        double averageTime() const override { return 1.0; }
        double minTime() const override { return 0.5; }
        double maxTime() const override { return _most; }
        double standardDeviation() const override { return 0.25; }
        std::uint32_t cycles() const override { return 3; }

    private:
        double _most;
    };
    LgStream stream;
    stream << Scripted( 1.5 ) << endString;
    EXPECT_EQ( stream.takeText(), "Profiler decode\n"
                                  "        Nb of cycles:   3\n"
                                  "        Total time  :   3.000000000\n"
                                  "        Average time:   1.000000000\n"
                                  "        Minimum time:   0.500000000\n"
                                  "        Maximum time:   1.500000000\n"
                                  "        Standard dev:   0.250000000" );
    stream << Scripted( std::numeric_limits<double>::max() ) << endString;
    EXPECT_THAT( stream.takeText(),
                 ::testing::HasSubstr( "124858368.000000000\n        Standard dev" ) );
}

} // namespace
} // namespace Qv
