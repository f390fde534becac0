#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <base/init/inSingletonEx.h>
#include <resmgt/fileMonitoring/src/fileChange.h>
#include <resmgt/fileMonitoring/src/fileEventRequest.h>
#include <resmgt/fileMonitoring/src/threadWokeUpForIteratingAsapRequestEvent.h>
#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <resmgt/osal/osFile.h>
#include <tests/support/testThread.h>

#include <fcntl.h>

#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>

namespace Qv {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

OsDateTypes::DateRep timeOf( const TestFiles& files, const std::string& name ) {
    const struct stat facts = files.facts( name );
    return { facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec };
}

void setTime( const TestFiles& files, const std::string& name, std::int64_t seconds,
              std::int64_t nanoseconds = 0 ) {
    const timespec times[] = { { 0, UTIME_OMIT }, { seconds, nanoseconds } };
    ASSERT_EQ( ::utimensat( AT_FDCWD, files.at( name ).c_str(), times, 0 ), 0 ) << name;
}

TEST( OsFileMonitorTest, EachStateThatDiffersFromThePassBeforeIsOneEvent ) {
    static bool hasNewOwner = true;
    const struct {
        const char* what;
        const char* entries;
        std::function<void( const TestFiles& )> change;
        Texts first;
        std::function<void( const TestFiles& )> changeAgain;
        Texts second;
    } cases[] = {
        { "made, written and removed",
          "",
          []( const auto& f ) { f.write( "x", "1" ); },
          { "Created x" },
          []( const auto& f ) { f.write( "x", "22" ); },
          { "Changed x" } },
        { "there from the start",
          "x=1",
          []( const auto& ) {},
          {},
          []( const auto& f ) { fs::remove( f.at( "x" ) ); },
          { "Deleted x" } },
        { "came and went between two looks",
          "",
          []( const auto& f ) {
              f.write( "x" );
              fs::remove( f.at( "x" ) );
          },
          {},
          []( const auto& f ) { f.write( "x" ); },
          { "Created x" } },
        { "of another time",
          "x=1",
          []( const auto& f ) { setTime( f, "x", 1000, 1 ); },
          { "Changed x" },
          []( const auto& f ) { setTime( f, "x", 1000, 0 ); },
          { "Changed x" } },
        { "of another size and the same time",
          "x=1",
          []( const auto& f ) {
              const auto time = timeOf( f, "x" );
              f.write( "x", "22" );
              setTime( f, "x", time.getSeconds(), time.getNanoseconds() );
          },
          { "Changed x" },
          []( const auto& ) {},
          {} },
        { "of another owner, where that is granted",
          "x=1",
          []( const auto& f ) { hasNewOwner = ::chown( f.at( "x" ).c_str(), 1, 1 ) == 0; },
          { "Changed x" },
          []( const auto& ) {},
          {} },
        { "another mode is no change",
          "x=1",
          []( const auto& f ) { f.setMode( "x", 0 ); },
          {},
          []( const auto& f ) { f.setMode( "x", 0644 ); },
          {} },
        { "turned into a directory",
          "x",
          []( const auto& f ) {
              fs::remove( f.at( "x" ) );
              f.write( "x/" );
          },
          { "Changed x" },
          []( const auto& f ) { setTime( f, "x", 5 ); },
          { "Changed x" } },
        { "a link that is turned",
          "a=1 b=22 x>a",
          []( const auto& f ) {
              fs::remove( f.at( "x" ) );
              f.link( "b", "x" );
          },
          { "Changed x" },
          []( const auto& f ) { f.write( "b", "333" ); },
          { "Changed x" } },
        { "a link that leads nowhere is no file",
          "x>gone",
          []( const auto& ) {},
          {},
          []( const auto& f ) { f.write( "gone" ); },
          { "Created x" } },
        { "a link to itself is no file",
          "x>x",
          []( const auto& ) {},
          {},
          []( const auto& f ) { fs::remove( f.at( "x" ) ); },
          {} },
        { "a pipe",
          "x|",
          []( const auto& ) {},
          {},
          []( const auto& f ) { fs::remove( f.at( "x" ) ); },
          { "Deleted x" } },
        { "a name of the pattern",
          "other",
          []( const auto& f ) { f.write( "xy" ); },
          {},
          []( const auto& f ) { f.write( "*" ); },
          { "Created *" } },
        { "in a directory that comes and goes",
          "",
          []( const auto& f ) { f.write( "d/x" ); },
          { "Created x" },
          []( const auto& f ) { fs::remove_all( f.at( "d" ) ); },
          { "Deleted x" } },
        { "in a file",
          "d",
          []( const auto& ) {},
          {},
          []( const auto& f ) {
              fs::remove( f.at( "d" ) );
              f.write( "d/x" );
          },
          { "Created x" } },
    };
    TestMonitor monitor;
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        const TestFiles files( c.entries );
        NotingHandler handler;
        monitor->addWatch( files.path( "x" ), &handler );
        monitor->addWatch( files.path( "*" ), &handler );
        monitor->addWatch( files.path( "d/x" ), &handler );
        monitor.pass();
        c.change( files );
        monitor.passAndDrain();
        EXPECT_EQ( handler.take(), std::exchange( hasNewOwner, true ) ? c.first : Texts() );
        c.changeAgain( files );
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

TEST( OsFileMonitorTest, FileReplacedByItsLikeGivesNoEvent ) {
    const TestFiles files( "x=1" );
    NotingHandler handler;
    TestMonitor monitor;
    monitor->addWatch( files.path( "x" ), &handler );
    monitor.pass();
    // Written through the name it keeps the time of its making, too.
    const auto time = timeOf( files, "x" );
    files.write( "x", "2" );
    setTime( files, "x", time.getSeconds(), time.getNanoseconds() );
    monitor.passAndDrain();
    EXPECT_THAT( handler.noted, IsEmpty() );
}

TEST( OsFileMonitorTest, EventsComeInTheOrderOfPassesAndPathsToHandlersInTheirs ) {
    const TestFiles files( "b a/b a-b" );
    Texts order;
    NotingHandler first( [&] { order.push_back( "1 " + first.noted.back() ); } );
    NotingHandler second( [&] { order.push_back( "2 " + second.noted.back() ); } );
    TestMonitor monitor;
    for( const char* const name : { "b", "a/b", "a-b", "a" } ) {
        monitor->addWatch( files.path( name ), &second );
    }
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
    monitor->addWatch( files.path( "x" ), &second );
    monitor->addWatch( files.path( "x" ), &second );
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
    const struct {
        const char* what;
        std::function<void( OsFileMonitor&, const TestFiles&, NotingHandler& )> action;
        Texts expected;
    } cases[] = {
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
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        const TestFiles files( "x y" );
        NotingHandler handler;
        TestMonitor monitor;
        monitor->addWatch( files.path( "x" ), &handler );
        monitor->addWatch( files.path( "y" ), &handler );
        monitor.pass();
        files.write( "x", "1" );
        files.write( "y", "1" );
        monitor.pass();
        c.action( *monitor, files, handler );
        monitor.drain();
        EXPECT_EQ( handler.take(), c.expected );
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

TEST( OsFileMonitorTest, IgnoresWhatIsNoNewerThanToldUntilThatTimeHasCome ) {
    const struct {
        /// The file's times before `ignorePendingEvents`, and then before each pass; 0 for no file.
        std::int64_t ignored;
        std::vector<std::int64_t> times;
        Texts events;
    } cases[] = {
        // The same consumes it.
        { 2000, { 2000, 2001 }, { "", "Changed x" } },
        // An older one doesn't, so that the same is dropped still, once.
        { 2000, { 1999, 2000, 1998, 2000 }, { "", "", "Changed x", "Changed x" } },
        // A newer one is delivered and consumes it.
        { 2000, { 2001, 2000 }, { "Changed x", "Changed x" } },
        // So is an end, which bears the last known time: here that of the baseline, an older one.
        { 2000, { 0, 2000, 1999 }, { "", "", "Changed x" } },
        // Without a file the present counts.
        { 0, { 1000, 4'000'000'000 }, { "", "Changed x" } },
        // A time in the future hides later writes.
        { 4'000'000'000, { 1'000'000'000, 2'000'000'000, 4'000'000'001 }, { "", "", "Changed x" } },
    };
    for( const auto form : { TestMonitor::EACH, TestMonitor::SETTLED } ) {
        for( const auto& c : cases ) {
            SCOPED_TRACE( c.ignored );
            const TestFiles files( "x" );
            const auto setTo = [&]( std::int64_t time ) {
                if( time == 0 ) {
                    fs::remove( files.at( "x" ) );
                } else {
                    files.write( "x" );
                    setTime( files, "x", time );
                }
            };
            setTo( 1 );
            NotingHandler handler;
            TestMonitor monitor;
            monitor->addWatch( files.path( "x" ), &handler, form );
            monitor.pass();
            setTo( c.ignored );
            monitor->ignorePendingEvents( files.path( "x" ) );
            Texts events;
            for( const std::int64_t time : c.times ) {
                setTo( time );
                monitor.passAndDrain();
                monitor.passAndDrain();
                events.push_back( handler.noted.empty() ? "" : handler.noted.back() );
                handler.noted.clear();
            }
            EXPECT_EQ( events, c.events );
        }
    }
    TestMonitor monitor;
    EXPECT_THROW( monitor->ignorePendingEvents( "" ), OsFileEx::ExNullFilePath );
}

TEST( OsFileMonitorTest, SettledFormReportsAChangeOnceTheFileWasEqualInTwoPasses ) {
    const struct {
        const char* what;
        const char* entries;
        /// The file's size before each pass, -1 for no file.
        std::vector<int> sizes;
        Texts events;
    } cases[] = {
        { "written in pieces", "x", { 1, 2, 3, 3, 3 }, { "", "", "", "Changed x", "" } },
        { "made in pieces", "", { 1, 2, 2, 2 }, { "", "", "Created x", "" } },
        { "removed", "x", { -1, -1, -1 }, { "", "Deleted x", "" } },
        { "replaced through nothing", "x", { -1, 5, 5, 5 }, { "", "", "Changed x", "" } },
        { "came and went", "", { 1, -1, -1, 1, 1 }, { "", "", "", "", "Created x" } },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        const TestFiles files( c.entries );
        NotingHandler settled;
        NotingHandler each;
        TestMonitor monitor;
        monitor->addWatch( files.path( "x" ), &settled, TestMonitor::SETTLED );
        monitor->addWatch( files.path( "x" ), &each );
        monitor.pass();
        Texts events;
        std::size_t nbStates = 0;
        for( std::size_t i = 0; i < c.sizes.size(); ++i ) {
            if( c.sizes[i] < 0 ) {
                fs::remove( files.at( "x" ) );
            } else if( i == 0 || c.sizes[i] != c.sizes[i - 1] ) {
                files.write( "x", std::string( static_cast<std::size_t>( c.sizes[i] ), '.' ) );
            }
            nbStates += i == 0 || c.sizes[i] != c.sizes[i - 1] ? 1U : 0U;
            monitor.passAndDrain();
            events.push_back( settled.noted.empty() ? "" : settled.noted.back() );
            settled.noted.clear();
        }
        EXPECT_EQ( events, c.events );
        EXPECT_EQ( each.noted.size(), nbStates );
        monitor->removeWatch( files.path( "x" ), &settled );
        fs::remove( files.at( "x" ) );
        files.write( "x", "new" );
        monitor.passAndDrain();
        monitor.passAndDrain();
        EXPECT_THAT( settled.noted, IsEmpty() );
    }
}

TEST( OsFileMonitorTest, BaselineThatTheClientHasSeenMissesNothing ) {
    using Seen = std::optional<OsFileInfo>;
    const struct {
        const char* entries;
        std::function<void( const TestFiles& )> change;
        Texts events;
    } cases[] = {
        { "x", []( const auto& ) {}, {} },
        { "x", []( const auto& f ) { f.write( "x", "1" ); }, { "Changed x" } },
        { "x", []( const auto& f ) { fs::remove( f.at( "x" ) ); }, { "Deleted x" } },
        { "", []( const auto& ) {}, {} },
        { "", []( const auto& f ) { f.write( "x" ); }, { "Created x" } },
    };
    for( const auto form : { TestMonitor::EACH, TestMonitor::SETTLED } ) {
        for( const bool isWatched : { false, true } ) {
            for( const auto& c : cases ) {
                const TestFiles files( c.entries );
                const OsFilePath path = files.path( "x" );
                const Seen seen = files.has( "x" ) ? Seen( OsFile( path ).getInfo() ) : Seen();
                NotingHandler before;
                NotingHandler handler;
                TestMonitor monitor;
                c.change( files );
                if( isWatched ) {
                    monitor->addWatch( path, &before );
                    monitor.pass();
                }
                monitor->addWatch( path, &handler, form, seen );
                monitor.pass();
                monitor.passAndDrain();
                EXPECT_EQ( handler.take(), c.events ) << isWatched << form;
                EXPECT_THAT( before.noted, IsEmpty() );
                // It is as any watch from now on.
                fs::remove( files.at( "x" ) );
                monitor.pass();
                files.write( "x", "333" );
                monitor.pass();
                monitor.passAndDrain();
                EXPECT_FALSE( handler.noted.empty() );
            }
        }
    }
    const TestFiles files( "x y" );
    NotingHandler handler;
    TestMonitor monitor;
    EXPECT_THROW( monitor->addWatch( files.path( "x" ), &handler, TestMonitor::EACH,
                                     OsFile( files.path( "y" ) ).getInfo() ),
                  ExAssertionFailed );
}

/// The monitor hasn't looked since: what it knows isn't newer than what the client has seen.
TEST( OsFileMonitorTest, BaselineNewerThanTheLastPassGivesTheEventOfAllAlone ) {
    const struct {
        const char* entries;
        std::function<void( const TestFiles& )> change;
        const char* event;
    } cases[] = {
        { "x", []( const auto& f ) { f.write( "x", "1" ); }, "Changed x" },
        { "x", []( const auto& f ) { fs::remove( f.at( "x" ) ); }, "Deleted x" },
        { "", []( const auto& f ) { f.write( "x" ); }, "Created x" },
    };
    for( const auto& c : cases ) {
        const TestFiles files( c.entries );
        const OsFilePath path = files.path( "x" );
        NotingHandler before;
        NotingHandler handler;
        TestMonitor monitor;
        monitor->addWatch( path, &before );
        monitor.pass();
        c.change( files );
        monitor->addWatch( path, &handler, TestMonitor::EACH,
                           files.has( "x" ) ? std::optional( OsFile( path ).getInfo() )
                                            : std::nullopt );
        monitor.passAndDrain();
        monitor.passAndDrain();
        EXPECT_THAT( before.noted, ElementsAre( c.event ) );
        EXPECT_THAT( handler.noted, ElementsAre( c.event ) );
    }
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
        const auto dumpOf = []( const EvEvent& event ) {
            std::ostringstream stream;
            event.dump( stream );
            return stream.str();
        };
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
