#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <base/init/inSingletonEx.h>
#include <resmgt/fileMonitoring/src/fileChange.h>
#include <resmgt/fileMonitoring/src/fileEventRequest.h>
#include <resmgt/fileMonitoring/src/threadWokeUpForIteratingAsapRequestEvent.h>
#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <tests/support/dumpOf.h>
#include <tests/support/testThread.h>

#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <tuple>

namespace Qv {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

TEST( OsFileMonitorTest, EachStateThatDiffersFromThePassBeforeIsOneEvent ) {
    const struct {
        const char* what;
        const char* entries;
        const char* change;
        Texts first;
        const char* changeAgain;
        Texts second;
    } cases[] = {
        { "made and written", "", "x=1", { "Created x" }, "x=22", { "Changed x" } },
        { "there from the start", "x=1", "", {}, "-x", { "Deleted x" } },
        { "came and went between two looks", "", "x -x", {}, "x", { "Created x" } },
        { "of another time", "x=1", "x@1001", { "Changed x" }, "x@1000", { "Changed x" } },
        { "of another size and the same time", "x=1 x@7", "x=22 x@7", { "Changed x" }, "", {} },
        // Written through the name it keeps the time of its making, too.
        { "replaced by its like", "x=1 x@7", "x=2 x@7", {}, "", {} },
        { "of another owner, where that is granted", "x=1", "x~", { "Changed x" }, "", {} },
        { "another mode is no change", "x=1", "x!", {}, "", {} },
        { "turned into a directory", "x", "-x x/", { "Changed x" }, "x@5", { "Changed x" } },
        { "a link that is turned",
          "a=1 b=22 x>a",
          "-x x>b",
          { "Changed x" },
          "b=333",
          { "Changed x" } },
        { "a link that leads nowhere is no file", "x>gone", "", {}, "gone", { "Created x" } },
        { "a link to itself is no file", "x>x", "", {}, "-x", {} },
        { "a pipe", "x|", "", {}, "-x", { "Deleted x" } },
        { "a name of the pattern", "other", "xy", {}, "*", { "Created *" } },
        { "in a directory that comes and goes", "", "d/x", { "Created x" }, "-d", { "Deleted x" } },
        { "in a file", "d", "", {}, "-d d/x", { "Created x" } },
    };
    TestMonitor monitor;
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        const TestFiles files;
        change( files, c.entries );
        NotingHandler handler;
        monitor.watch( files, "x * d/x", handler );
        monitor.pass();
        const bool isGranted = change( files, c.change );
        monitor.passAndDrain();
        EXPECT_EQ( handler.take(), isGranted ? c.first : Texts() );
        change( files, c.changeAgain );
        monitor.passAndDrain();
        EXPECT_EQ( handler.take(), c.second );
        monitor.passAndDrain();
        EXPECT_THAT( handler.take(), IsEmpty() );
        monitor->removeAllWatches();
    }
}

TEST( OsFileMonitorTest, ComparesInTheOrderOfTimeSizePathOwnerTypeAndCreation ) {
    const OsDateTypes::DateRep time( 10, 0 );
    const OsDateTypes::DateRep later( 10, 1 );
    const OsFileInfo info( "/a", "me", OsFileTypes::PLAIN, 5, time, time );
    EXPECT_FALSE( isDifferent( info, info ) );
    const OsFileInfo others[] = {
        { "/a", "me", OsFileTypes::PLAIN, 5, later, time },
        { "/a", "me", OsFileTypes::PLAIN, 6, time, time },
        { "/b", "me", OsFileTypes::PLAIN, 5, time, time },
        { "/a", "you", OsFileTypes::PLAIN, 5, time, time },
        { "/a", "me", OsFileTypes::DIRECTORY, 5, time, time },
        { "/a", "me", OsFileTypes::PLAIN, 5, time, later },
    };
    for( const OsFileInfo& other : others ) {
        EXPECT_TRUE( isDifferent( info, other ) );
        EXPECT_TRUE( isDifferent( other, info ) );
    }
}

TEST( OsFileMonitorTest, EventsComeInTheOrderOfPassesAndPathsToHandlersInTheirs ) {
    const TestFiles files( "b a/b a-b" );
    Texts order;
    NotingHandler first( [&] { order.push_back( "1 " + first.noted.back() ); } );
    NotingHandler second( [&] { order.push_back( "2 " + second.noted.back() ); } );
    TestMonitor monitor;
    monitor.watch( files, "b a/b a-b a", second );
    monitor->addWatch( files.path( "b" ), &first );
    monitor.pass();
    files.write( "b", "1" );
    files.write( "a-b", "1" );
    monitor.pass();
    files.write( "a/b", "1" );
    monitor.pass();
    EXPECT_THAT( order, IsEmpty() );
    monitor.drain();
    EXPECT_THAT( order,
                 ElementsAre( "2 Changed a-b", "2 Changed b", "1 Changed b", "2 Changed b" ) );
}

TEST( OsFileMonitorTest, TwoHandlersOfAPathShareItsFile ) {
    const TestFiles files( "x y" );
    NotingHandler first;
    NotingHandler second;
    TestMonitor monitor;
    const auto monitored = [&] {
        monitor.pass();
        const RCStrongPtr<Vector<OsFilePath>> paths = monitor->getMonitoredFiles();
        return Vector<OsFilePath>( *paths );
    };
    monitor->addWatch( files.path( "x" ), &first );
    monitor.watch( files, "x x", second );
    monitor->addWatch( files.path( "y" ), &first );
    EXPECT_THAT( *monitor->getMonitoredFiles(), IsEmpty() );
    EXPECT_THAT( monitored(), ElementsAre( files.path( "x" ), files.path( "y" ) ) );
    files.write( "x", "1" );
    monitor.passAndDrain();
    EXPECT_THAT( first.take(), ElementsAre( "Changed x" ) );
    EXPECT_THAT( second.take(), ElementsAre( "Changed x" ) );
    monitor->removeWatch( files.path( "x" ), &first );
    monitor->removeWatch( files.path( "x" ), &first );
    files.write( "x", "22" );
    EXPECT_THAT( monitored(), ElementsAre( files.path( "x" ), files.path( "y" ) ) );
    monitor.drain();
    EXPECT_THAT( first.take(), IsEmpty() );
    EXPECT_THAT( second.take(), ElementsAre( "Changed x" ) );
    monitor->removeWatch( files.path( "x" ), &second );
    EXPECT_THAT( monitored(), ElementsAre( files.path( "y" ) ) );
    monitor->removeAllWatches();
    EXPECT_THAT( monitored(), IsEmpty() );
}

/// What is done between the pass that finds `x` and `y` changed and the delivery of that.
TEST( OsFileMonitorTest, EventsOfAWatchThatEndedOrWasMadeAnewDoNothing ) {
    const std::tuple<const char*,
                     std::function<void( OsFileMonitor&, const TestFiles&, NotingHandler& )>, Texts>
        cases[] = {
            { "left", []( auto&, const auto&, auto& ) {}, { "Changed x", "Changed y" } },
            { "removed",
              []( auto& m, const auto& f, auto& h ) { m.removeWatch( f.path( "x" ), &h ); },
              { "Changed y" } },
            { "made anew",
              []( auto& m, const auto& f, auto& h ) {
                  m.removeWatch( f.path( "x" ), &h );
                  m.addWatch( f.path( "x" ), &h );
              },
              { "Changed y" } },
            { "all removed", []( auto& m, const auto&, auto& ) { m.removeAllWatches(); }, {} },
            { "all made anew",
              []( auto& m, const auto& f, auto& h ) {
                  m.removeAllWatches();
                  m.addWatch( f.path( "y" ), &h );
              },
              {} },
        };
    for( const auto& [what, action, expected] : cases ) {
        SCOPED_TRACE( what );
        const TestFiles files( "x y" );
        NotingHandler handler;
        TestMonitor monitor;
        monitor.watch( files, "x y", handler );
        monitor.pass();
        files.write( "x", "1" );
        files.write( "y", "1" );
        monitor.pass();
        action( *monitor, files, handler );
        monitor.drain();
        EXPECT_EQ( handler.take(), expected );
        // What is watched now still is.
        monitor.passAndDrain();
        files.write( "y", "22" );
        monitor.passAndDrain();
        EXPECT_THAT( handler.noted.size(), monitor->getMonitoredFiles()->size() > 0 ? 1 : 0 );
    }
}

TEST( OsFileMonitorTest, EventsOfAMonitorThatHasEndedDoNothing ) {
    const TestFiles files( "x" );
    NotingHandler handler;
    for( const bool hasSuccessor : { false, true } ) {
        TestMonitor monitor;
        monitor->addWatch( files.path( "x" ), &handler );
        monitor.pass();
        files.write( "x", hasSuccessor ? "22" : "1" );
        monitor.pass();
        monitor.end();
        if( hasSuccessor ) {
            TestMonitor::Harness::createExternallyControlled();
            OsFileMonitor::getInstance()->addWatch( files.path( "x" ), &handler );
        }
        EXPECT_EQ( monitor.drain(), 1 );
        OsFileMonitor::finalize();
        EXPECT_THROW( OsFileMonitor::getInstance(), InSingletonEx::ExAlreadyDestroyed );
        OsFileMonitor::initialize();
        EXPECT_THROW( OsFileMonitor::initialize(), InSingletonEx::ExAlreadyInitialized );
    }
    EXPECT_THAT( handler.noted, IsEmpty() );
}

TEST( OsFileMonitorTest, HandlersMayChangeWhatIsWatchedWhileTheyRun ) {
    const TestFiles files( "x" );
    const OsFilePath path = files.path( "x" );
    const struct {
        const char* what;
        /// Of the first of three handlers, `h`.
        std::function<void( OsFileMonitor&, std::vector<std::unique_ptr<NotingHandler>>& )> action;
        /// Which handlers are called for the change, and for the next one.
        Texts calls;
    } cases[] = {
        { "nothing", []( auto&, auto& ) {}, { "012", "012" } },
        { "itself",
          [&]( auto& m, auto& h ) { m.removeWatch( path, h[0].get() ); },
          { "012", "12" } },
        { "the next",
          [&]( auto& m, auto& h ) { m.removeWatch( path, h[1].get() ); },
          { "02", "02" } },
        { "anew",
          [&]( auto& m, auto& h ) {
              m.removeWatch( path, h[1].get() );
              m.addWatch( path, h[1].get() );
          },
          { "02", "021" } },
        { "all", [&]( auto& m, auto& ) { m.removeAllWatches(); }, { "0", "" } },
        { "the last dies", []( auto&, auto& h ) { h[2].reset(); }, { "01", "01" } },
        { "all others die",
          []( auto&, auto& h ) {
              h[1].reset();
              h[2].reset();
          },
          { "0", "0" } },
        { "asks and pauses",
          []( auto& m, auto& ) {
              m.pause();
              m.getMonitoredFiles();
              m.resume();
          },
          { "012", "012" } },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        TestMonitor monitor;
        std::string calls;
        bool isFirst = true;
        std::vector<std::unique_ptr<NotingHandler>> handlers;
        for( const char name : { '0', '1', '2' } ) {
            handlers.push_back( std::make_unique<NotingHandler>( [&, name] {
                calls += name;
                if( name == '0' && std::exchange( isFirst, false ) ) {
                    c.action( *monitor, handlers );
                }
            } ) );
            monitor->addWatch( path, handlers.back().get() );
        }
        monitor.pass();
        for( const std::string& expected : c.calls ) {
            calls.clear();
            files.write( "x", std::string( files.read( "x" ).size() + 1, '.' ) );
            monitor.passAndDrain();
            EXPECT_EQ( calls, expected );
            monitor.pass();
        }
    }
}

TEST( OsFileMonitorTest, HandlersThatRaiseTakeNothingFromOthers ) {
    const TestFiles files( "x y" );
    TestMonitor monitor;
    NotingHandler first( [] { throw std::runtime_error( "first" ); } );
    NotingHandler second( [] { throw std::runtime_error( "second" ); } );
    NotingHandler third;
    for( NotingHandler* const handler : { &first, &second, &third } ) {
        monitor->addWatch( files.path( "x" ), handler );
    }
    monitor.pass();
    files.write( "x", "1" );
    monitor.pass();
    EXPECT_EQ( raisedBy( [&] { monitor.drain(); } ), "first" );
    EXPECT_THAT( third.noted, ElementsAre( "Changed x" ) );
    // It counts as having ended.
    TestThread( [&] { monitor->removeWatch( files.path( "x" ), &first ); } ).join();
}

TEST( OsFileMonitorTest, WatchWhoseHandlersHaveDiedEndsAtItsNextEvent ) {
    const TestFiles files( "x" );
    TestMonitor monitor;
    {
        NotingHandler first;
        NotingHandler second;
        monitor->addWatch( files.path( "x" ), &first );
        monitor->addWatch( files.path( "x" ), &second, TestMonitor::SETTLED );
    }
    monitor.pass();
    EXPECT_EQ( monitor->getSnapshot().nbFiles, 1 );
    files.write( "x", "1" );
    monitor.passAndDrain();
    monitor.pass();
    EXPECT_EQ( monitor->getSnapshot().nbFiles, 0 );

    // One at the address of a dead one is another.
    std::optional<NotingHandler> handler( std::in_place );
    monitor->addWatch( files.path( "x" ), &*handler );
    handler.emplace();
    monitor->removeWatch( files.path( "x" ), &*handler );
    monitor->addWatch( files.path( "x" ), &*handler );
    monitor.pass();
    files.write( "x", "22" );
    monitor.passAndDrain();
    EXPECT_THAT( handler->noted, ElementsAre( "Changed x" ) );
}

TEST( OsFileMonitorTest, RefusesWhatCantBeWatched ) {
    TestMonitor monitor;
    NotingHandler handler;
    EXPECT_THROW( monitor->addWatch( OsFilePath(), &handler ), OsFileEx::ExNullFilePath );
    EXPECT_THROW( monitor->addWatch( "/x", nullptr ), ExAssertionFailed );
    monitor->removeWatch( OsFilePath(), &handler );
    monitor->resume();
    const std::string longest( 255, 'n' );
    NotingHandler busy;
    monitor->addWatch( ".", &busy );
    monitor->addWatch( "/", &busy );
    const OsFilePath odd[] = { "C:/x",
                               "//server/share/x",
                               OsFilePath( std::string( "/tmp/\0x", 7 ) ),
                               "/tmp/" + std::string( 242, 'n' ),
                               "/tmp/" + std::string( 243, 'n' ),
                               "/tmp/" + longest,
                               "/tmp/" + longest + "n",
                               "/tmp/" + std::string( 5000, '/' ) + "x",
                               std::string( 5000, 'n' ) };
    for( const OsFilePath& path : odd ) {
        monitor->addWatch( path, &handler );
        monitor.passAndDrain();
    }
    monitor.passAndDrain();
    EXPECT_EQ( monitor->getSnapshot().nbFiles, std::size( odd ) + 2 );
    EXPECT_EQ( monitor->getSnapshot().nbFailures, 0 );
    EXPECT_THAT( handler.noted, IsEmpty() );
}

TEST( OsFileMonitorTest, HasTheConfiguredIntervalsUnlessOthersAreGiven ) {
    EXPECT_EQ( OsFileMonitor::getDefaultIntervalBetweenFiles(), 0 );
    EXPECT_EQ( OsFileMonitor::getDefaultIntervalBetweenIterations(), 60 );
    const auto expectIntervals = []( double iteration, double file ) {
        double intervals[] = { -1, -1 };
        OsFileMonitor::getInstance()->getTimeIntervals( intervals[0], intervals[1] );
        EXPECT_EQ( intervals[0], iteration );
        EXPECT_EQ( intervals[1], file );
    };
    {
        const EvQueueEventManager events;
        expectIntervals( 60, 0 );
        OsFileMonitor::createInstance( 1, 2 );
        OsFileMonitorHarness::createExternallyControlled();
        expectIntervals( 60, 0 );
        OsFileMonitor::finalize();
        OsFileMonitor::initialize();
    }
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    const struct {
        double iteration;
        double file;
    } odd[] = { { 0, 0 },
                { -5, -5 },
                { std::nan( "" ), std::nan( "" ) },
                { INFINITE, 1e300 },
                { 1e300, INFINITE } };
    for( const auto& intervals : odd ) {
        const TestFiles files( "x" );
        NotingHandler handler;
        TestMonitor monitor( intervals.iteration, intervals.file );
        if( !std::isnan( intervals.file ) ) {
            expectIntervals( intervals.iteration, intervals.file );
        }
        monitor->addWatch( files.path( "x" ), &handler );
        monitor->iterateAsap( true );
        files.write( "x", "1" );
        monitor->iterateAsap( true );
        monitor.drain();
        EXPECT_THAT( handler.noted, Contains( "Changed x" ) );
    }
}

TEST( OsFileMonitorTest, EventsCanBeCopiedAndWrittenAndReadBack ) {
    const FileEventRequest request( { FileChange::DELETED,
                                      "/a \"b\"\n.exr",
                                      { -5, 7 },
                                      OsFileMonitor::SETTLED_STATES,
                                      12,
                                      3 } );
    const ThreadWokeUpForIteratingAsapRequestEvent wakeUp( 99 );
    FileEventRequest otherRequest( { FileChange::CREATED, "/b", {}, {}, 1, 0 } );
    ThreadWokeUpForIteratingAsapRequestEvent otherWakeUp( 1 );
    const struct {
        const EvEvent& event;
        EvEvent& other;
        const char* text;
        const char* odd[4];
    } cases[] = {
        { request,
          otherRequest,
          "FileEventRequest Deleted 1 -5 7 12 3 \"/a \\\"b\\\"\n.exr\"",
          { "", "FileEventRequest", "FileEventRequest Moved 1 -5 7 12 3 \"/a\"",
            "FileEventRequest Deleted 2 -5 7 12 3 \"/a\"" } },
        { wakeUp,
          otherWakeUp,
          "ThreadWokeUpForIteratingAsapRequestEvent 99",
          { "", "FileEventRequest 99", "ThreadWokeUpForIteratingAsapRequestEvent x",
            "ThreadWokeUpForIteratingAsapRequestEvent" } },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( dumpOf( c.event ), c.text );
        EXPECT_EQ( dumpOf( *OPtr<EvEvent>( c.event.clone() ) ), c.text );
        const std::string before = dumpOf( c.other );
        for( const char* const text : c.odd ) {
            std::istringstream stream( text );
            c.other.read( stream );
            EXPECT_TRUE( stream.fail() ) << text;
            EXPECT_EQ( dumpOf( c.other ), before );
        }
        std::istringstream stream( c.text );
        c.other.read( stream );
        EXPECT_FALSE( stream.fail() );
        EXPECT_EQ( dumpOf( c.other ), c.text );
    }
}

} // namespace
} // namespace Qv
