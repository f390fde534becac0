#include <resmgt/logger/qvLog.h>

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/profiling/profiler.h>

#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

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

/// The statements of this thread go into a queue of the test's.
class QvLogTest : public ::testing::Test {
protected:
    QvLogTest() {
        LgGroups::MinorLevelStage.create();
        LgGroups::MinorLevelALongNameOfAGroup.create();
        useQueue( { 32768, 1024 } );
        LgLog::setQueueFunction( [] { return _queue.get(); } );
        LgLog::setLoggerActivation( true );
    }
    ~QvLogTest() override {
        LgLog::setLoggerActivation( false );
        LgLog::setQueueFunction( nullptr );
        _queue.reset();
        LgGroups::MinorLevelALongNameOfAGroup.destroy();
        LgGroups::MinorLevelStage.destroy();
    }

    static void useQueue( const LgQueue::Sizes& sizes ) {
        _queue = std::make_unique<LgQueue>( 7, "stage", sizes );
    }

    /// Takes what is there; a run of losses is a number in brackets.
    static std::vector<std::string> takeLines() {
        std::vector<std::string> lines;
        std::vector<char> text( _queue->getBufSize() );
        while( !_queue->isEmpty() ) {
            if( _queue->readEntry().isOverflowEntry() ) {
                lines.push_back( '[' + std::to_string( _queue->takeOverflowCount() ) + ']' );
            } else {
                _queue->copyText( text.data() );
                lines.emplace_back( text.data() );
            }
            _queue->removeEntry();
        }
        if( const std::uint64_t nbMissed = _queue->takeMissedCount(); nbMissed > 0 ) {
            lines.push_back( '[' + std::to_string( nbMissed ) + ']' );
        }
        return lines;
    }

    static inline std::unique_ptr<LgQueue> _queue;
};

constexpr const char* const HEAD = "[Stage          ] ";

std::string line( const std::string& text ) {
    return HEAD + text;
}

TEST_F( QvLogTest, AnOpenStatementIsOneEntryWithItsLevelAndGroup ) {
    QV_LOG( Stage, Error, "tile ", std::size_t{ 7 }, std::string( " took " ), 0.5, 's' );
    ASSERT_FALSE( _queue->isEmpty() );
    EXPECT_EQ( _queue->readEntry().getLevel(), LgTypes::Error );
    EXPECT_THAT( takeLines(), ElementsAre( line( "tile 7 took 0.500000s" ) ) );
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
    EXPECT_TRUE( _queue->isEmpty() );
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
        useQueue( { 64, 8 } );
        ASSERT_TRUE( _queue->reserveEntry( LgTypes::Warning ) );
        _queue->getStream() << std::string( c.nbTaken, 'x' ) << endString;
        _queue->addEntry();
        QV_LOG( Stage, Warning, "ab" );
        EXPECT_THAT( takeLines(), ElementsAre( std::string( c.nbTaken, 'x' ), c.text ) );
    }
}

TEST_F( QvLogTest, TheLimitedFormsCountWhatTheyLeaveOut ) {
    const std::uint64_t untold = LgLimit::getNbUntold();
    for( int i = 0; i < 7; ++i ) {
        QV_LOG_ONCE( Stage, Warning, "once ", i );
        QV_LOG_EVERY( Stage, Warning, 3, "third ", i );
        QV_LOG_EVERY( Stage, Warning, 0, "all ", i );
        QV_LOG_EVERY( Stage, Tracing, 3, "closed ", i );
        QV_LOG_PER_SECOND( Stage, Warning, 0, "none ", i );
    }
    std::vector<std::string> expected{ line( "once 0" ) };
    for( int i = 0; i < 7; ++i ) {
        if( i % 3 == 0 ) {
            expected.push_back(
                line( "third " + std::to_string( i ) + ( i != 0 ? " (left out: 2)" : "" ) ) );
        }
        expected.push_back( line( "all " + std::to_string( i ) ) );
    }
    EXPECT_EQ( takeLines(), expected );
    EXPECT_EQ( LgLimit::getNbUntold() - untold, 6U + 7U );
}

TEST_F( QvLogTest, ThreadsThatShareALimitPassAndLeaveOutExactlyAllOfTheirStatements ) {
    const std::uint64_t untold = LgLimit::getNbUntold();
    const long nbCalls = scaledCount( 100000 );
    LgLimit every;
    LgLimit perSecond;
    LgLimit once;
    std::atomic<std::uint64_t> nbPassed = 0;
    std::atomic<std::uint64_t> nbTold = 0;
    std::atomic<int> nbOnce = 0;
    const auto note = [&]( const LgLimit::Pass& pass ) {
        nbPassed += pass.isOpen ? 1 : 0;
        nbTold += pass.nbLeftOut;
    };
    std::vector<std::thread> threads;
    for( int t = 0; t < 4; ++t ) {
        threads.emplace_back( [&] {
            for( long i = 0; i < nbCalls; ++i ) {
                note( every.passEvery( 5 ) );
                note( perSecond.passPerSecond( 100 ) );
                nbOnce += once.passOnce() ? 1 : 0;
            }
        } );
    }
    for( std::thread& thread : threads ) {
        thread.join();
    }
    const auto all = static_cast<std::uint64_t>( 4 * nbCalls );
    EXPECT_EQ( nbOnce, 1 );
    EXPECT_EQ( nbPassed + nbTold + LgLimit::getNbUntold() - untold, 2 * all + ( all - 1 ) );
    EXPECT_GE( nbPassed, all / 5 + 100 );
}

TEST_F( QvLogTest, WithoutAQueueOrAGroupAStatementIsWrittenAtOnce ) {
    LgLog::setQueueFunction( []() -> LgQueue* { return nullptr; } );
    for( const bool isActive : { true, false } ) {
        LgLog::setLoggerActivation( isActive );
        CaptureStdout();
        QV_LOG( Never, Warning, "no group ", 1 );
        QV_LOG( Never, Profiling, "dropped" );
        QV_LOG( Never, Tracing, "closed" );
        EXPECT_THAT( GetCapturedStdout(),
                     ::testing::MatchesRegex(
                         "[0-9:.]+ \\[Warning       \\] \\[Never          \\] no group 1\n" ) );
    }
    EXPECT_TRUE( _queue->isEmpty() );
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
