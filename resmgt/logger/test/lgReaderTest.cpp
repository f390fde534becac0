#include <resmgt/logger/lgReader.h>

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/logger/test/loggerRun.h>
#include <tests/support/failingNew.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <new>
#include <string>
#include <vector>

namespace Qv {

namespace {

using ::testing::ElementsAre;

constexpr LgQueue::Sizes SIZES{ 4096, 8 };

/// A reader whose lines go to a file, text alone.
class LgReaderTest : public ::testing::Test {
protected:
    ~LgReaderTest() override {
        for( LgQueue* const queue : LgLog::getRegistry()->getQueueList() ) {
            LgLog::getRegistry()->deregisterQueue( queue );
            const OPtr<LgQueue> owner( queue );
        }
    }

    static LgQueue& addQueue( const char* name ) {
        auto* const queue = new LgQueue( 1, name, SIZES );
        LgLog::getRegistry()->registerQueue( queue );
        return *queue;
    }
    static void log( LgQueue& queue, const std::string& text ) {
        if( queue.reserveEntry( LgTypes::Warning ) ) {
            queue.getStream() << text << endString;
            queue.addEntry();
        }
    }
    /// That of the first entry, as the counter would have given it.
    static void setStamp( const LgQueue& queue, std::uint64_t stamp ) {
        const_cast<LgQueue::Entry&>( queue.readEntry() ).setTimeStamp( stamp );
    }
    static std::vector<std::string> getQueues() {
        std::vector<std::string> names;
        for( const LgQueue* const queue : LgLog::getRegistry()->getQueueList() ) {
            names.emplace_back( queue->getThreadName() );
        }
        return names;
    }
    /// Since the header.
    std::vector<std::string> getLines() const {
        std::vector<std::string> lines;
        std::istringstream text( readFile( _file ) );
        for( std::string line; std::getline( text, line ); ) {
            if( line.starts_with( "text" ) || line.starts_with( "Event" ) ) {
                lines.push_back( line );
            }
        }
        return lines;
    }

    const TempDirectory _directory;
    const std::string _file = ( _directory.path() / "out.txt" ).string();
    const LoggerRun _run{ { { "QV_LOG_UNSPECIFIED", "--" },
                            { "QV_LOG_WARNING", _file },
                            { "QV_LOG_INFORMATIONAL", _file },
                            { "QV_LOG_ENABLE_TIME", "0" },
                            { "QV_LOG_DISABLE_LOGLEVELS", "1" } } };
    LgReader _reader;
};

TEST_F( LgReaderTest, TheEarliestComesFirstAndOfEqualStampsThatOfTheFirstQueue ) {
    LgQueue& first = addQueue( "first" );
    LgQueue& second = addQueue( "second" );
    LgQueue& third = addQueue( "third" );
    for( LgQueue* const queue : { &third, &second, &first } ) {
        log( *queue, std::string( "text of " ) + queue->getThreadName() );
        log( *queue, std::string( "text behind " ) + queue->getThreadName() );
    }
    setStamp( first, 5 );
    setStamp( second, 5 );
    setStamp( third, 4 );
    EXPECT_TRUE( _reader.eventsPending() );
    _reader.flushAll();
    EXPECT_FALSE( _reader.eventsPending() );
    EXPECT_THAT( getLines(),
                 ElementsAre( "text of third", "text of first", "text of second",
                              "text behind third", "text behind second", "text behind first" ) );
}

TEST_F( LgReaderTest, QueuesWhoseOwnersHaveEndedGoOnceTheyAreEmptyAndToldOf ) {
    LgQueue& empty = addQueue( "empty" );
    LgQueue& full = addQueue( "full" );
    LgQueue& behind = addQueue( "behind" );
    addQueue( "alive" );
    log( full, "text" );
    ASSERT_TRUE( full.reserveEntry( LgTypes::Warning ) );
    // A loss that no entry stands for.
    log( full, "text within" );
    for( LgQueue* const queue : { &empty, &full, &behind } ) {
        queue->creatorExit();
    }
    EXPECT_TRUE( _reader.flushEarliest() );
    EXPECT_THAT( getQueues(), ElementsAre( "full", "behind", "alive" ) );
    EXPECT_FALSE( _reader.flushEarliest() );
    EXPECT_THAT( getQueues(), ElementsAre( "alive" ) );
    EXPECT_THAT( getLines(), ElementsAre( "text", "Event overflow [1]" ) );
}

TEST_F( LgReaderTest, AllStampedUpToTheFirstCrashTimeIsReadAndNothingLater ) {
    LgQueue& first = addQueue( "first" );
    LgQueue& second = addQueue( "second" );
    log( first, "text before" );
    ASSERT_TRUE( first.reserveEntry( LgTypes::Warning ) );
    _reader.setCrashTime();
    log( second, "text after" );
    _reader.setCrashTime();
    _reader.flushAll();
    EXPECT_TRUE( _reader.isAwaitingStatement() );
    first.getStream() << "text across" << endString;
    first.addEntry();
    ASSERT_TRUE( first.reserveEntry( LgTypes::Warning ) );
    _reader.flushAll();
    EXPECT_FALSE( _reader.isAwaitingStatement() );
    EXPECT_TRUE( _reader.eventsPending() );
    EXPECT_THAT( getLines(), ElementsAre( "text before", "text across" ) );
}

TEST_F( LgReaderTest, EachStatementAndLossIsToldWhereverMemoryEnds ) {
    LgQueue& queue = addQueue( "queue" );
    bool hasFailed = true;
    for( int nbSucceeding = 0; hasFailed; ++nbSucceeding ) {
        // A line, one for those behind the queue's room, and one that no entry stands for.
        const LgLog::Counters before = LgLog::getCounters();
        for( std::size_t i = 0; i < 2 * SIZES.nbEntries; ++i ) {
            log( queue, "text" );
        }
        hasFailed = false;
        for( std::size_t i = 0; i < 2 * SIZES.nbEntries; ++i ) {
            try {
                const FailingNew failing( nbSucceeding );
                _reader.flushEarliest();
            } catch( const std::bad_alloc& ) {
                hasFailed = true;
            }
            _reader.flushEarliest();
        }
        const LgLog::Counters after = LgLog::getCounters();
        ASSERT_EQ( after.written + after.lost - before.written - before.lost, 2 * SIZES.nbEntries )
            << nbSucceeding;
        ASSERT_LT( nbSucceeding, 1000 );
    }
}

} // namespace

} // namespace Qv
