#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <base/init/src/inPackageFrame.h>
#include <resmgt/fileMonitoring/src/monitoredFile.h>
#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <tests/support/failingNew.h>
#include <tests/support/scopedEnvironment.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Qv {
namespace {

using ::testing::IsEmpty;

/// Fails the queries about files whose names end with one of those letters.
class FailingQueries {
public:
    FailingQueries( const char* letters, int error )
        : _hook(
              "statx",
              [letters, error]( const SystemCall& call ) {
                  const std::string path = call.path != nullptr ? call.path : "";
                  return !path.empty() && std::strchr( letters, path.back() ) != nullptr ? error
                                                                                         : 0;
              },
              CallHook::PROCESS ) {}

private:
    const CallHook _hook;
};

TEST( OsFileMonitorFaultsTest, QueryThatFailsIsLoggedOnceAndNothingIsForgotten ) {
    for( const int error : { EACCES, EIO, ESTALE, ENOMEM } ) {
        const TestFiles files( "w x y" );
        NotingHandler handler;
        TestMonitor monitor;
        monitor.watch( files, "w x y z", handler );
        monitor.pass();
        {
            const FailingQueries failing( "xz", error );
            for( const char* const name : { "w", "x", "y", "z" } ) {
                files.write( name, "1" );
            }
            files.write( "new/x" );
            monitor->addWatch( files.path( "new/x" ), &handler );
            monitor.passAndDrain();
            monitor.passAndDrain();
            EXPECT_THAT( handler.take(), ElementsAre( "Changed w", "Changed y" ) );
        }
        // The baseline of what couldn't be asked about is its first state; this one comes later.
        monitor.passAndDrain();
        EXPECT_THAT( handler.take(), ElementsAre( "Changed x", "Created z" ) );
        files.write( "new/x", "1" );
        monitor.passAndDrain();
        EXPECT_THAT( handler.take(), ElementsAre( "Changed x" ) );
        EXPECT_GE( monitor->getSnapshot().nbFailures, 6 );
        EXPECT_EQ( monitor->getSnapshot().nbFiles, 5 );
        EXPECT_THROW(
            {
                const FailingQueries failing( "x", error );
                monitor->ignorePendingEvents( files.path( "x" ) );
            },
            Sys );
        files.write( "x", "22" );
        monitor.passAndDrain();
        EXPECT_THAT( handler.take(), ElementsAre( "Changed x" ) );
    }
}

TEST( OsFileMonitorFaultsTest, LogsEachChangeAndEachFailureOnce ) {
    const TestFiles files( "x y" );
    const fs::path log = files.at( "log.txt" );
    InPackageFrame& frame = InPackageFrame::getInstance();
    frame.stop();
    {
        const ScopedEnvironment file( "QV_LOG_UNSPECIFIED", log.c_str() );
        const ScopedEnvironment groups( "QV_LOG_GROUPS", "ResMgt=Tracing" );
        frame.start();
        NotingHandler handler;
        TestMonitor monitor;
        monitor.watch( files, "x y", handler );
        monitor.pass();
        files.write( "x", "1" );
        monitor.pass();
        NotingHandler first( [] { throw std::runtime_error( "of the first" ); } );
        NotingHandler second( [] { throw std::runtime_error( "of the second" ); } );
        monitor->addWatch( files.path( "x" ), &first );
        monitor->addWatch( files.path( "x" ), &second );
        EXPECT_EQ( raisedBy( [&] { monitor.drain(); } ), "of the first" );
        fs::remove( files.at( "x" ) );
        monitor.pass();
        for( int i = 0; i < 2; ++i ) {
            {
                const FailingQueries failing( "xy", EIO );
                monitor.pass();
                monitor.pass();
            }
            monitor.pass();
        }
        monitor.events.reset();
        files.write( "x", "333" );
        monitor.pass();
        monitor.pass();
        MonitoredFile odd( "/a", 1 );
        MonitoredFile::Finding finding;
        finding.change = FileChange::CHANGED;
        finding.info.reset( new OsFileInfo( "/b", "me", OsFileTypes::PLAIN, 5, {}, {} ) );
        odd.keep( finding );
        monitor.end();
        frame.stop();
    }
    frame.start();
    const std::string text = files.read( "log.txt" );
    const auto countOf = [&]( const std::string& part ) {
        int count = 0;
        for( std::size_t place = text.find( part ); place != std::string::npos;
             place = text.find( part, place + 1 ) ) {
            ++count;
        }
        return count;
    };
    const std::string x = files.path( "x" ).toString();
    const std::string y = files.path( "y" ).toString();
    const struct {
        std::string part;
        int count;
    } parts[] = {
        { "[Tracing       ] [FileMonitoring ] Changed: " + x + ", 1 bytes", 1 },
        { "Deleted: " + x + ", 0 bytes", 1 },
        { "of the first", 0 },
        { "of the second", 1 },
        { "[Warning       ] [FileMonitoring ] Can't monitor " + x + ": OsFileProbe::find ", 2 },
        { "Can't monitor " + x + ": Singleton EvEventManager isn't initialized.", 1 },
        { "Can't monitor " + y + ": ", 2 },
        { "[Warning       ] [FileMonitoring ] Path differ in actualize (Changed) /a, /b", 1 },
    };
    for( const auto& part : parts ) {
        EXPECT_EQ( countOf( part.part ), part.count ) << part.part << " in\n" << text;
    }
}

/// Has allocations of the monitor's thread fail from its first query about "a" on, but for some,
/// until its last one about "zz".
class FailingMemory {
public:
    explicit FailingMemory( int nbSucceeding )
        : _hook(
              "statx",
              [nbSucceeding]( const SystemCall& call ) {
                  static thread_local std::optional<FailingNew> failing;
                  const std::string_view path = call.path != nullptr ? call.path : "";
                  if( path.ends_with( "zz" ) ) {
                      failing.reset();
                  } else if( path.ends_with( "a" ) && !failing ) {
                      failing.emplace( nbSucceeding );
                  }
                  return 0;
              },
              CallHook::PROCESS ) {}

private:
    const CallHook _hook;
};

TEST( OsFileMonitorFaultsTest, MissingMemoryDelaysEventsAndLosesNone ) {
    for( int nbSucceeding = 0; nbSucceeding < 50; ++nbSucceeding ) {
        SCOPED_TRACE( nbSucceeding );
        const TestFiles files( "x y" );
        NotingHandler handler;
        TestMonitor monitor;
        const auto pass = [&] {
            monitor.passAndDrain();
            std::ranges::sort( handler.noted );
        };
        monitor.watch( files, "x y zz", handler );
        monitor.pass();
        files.write( "x", "1" );
        fs::remove( files.at( "y" ) );
        monitor->addWatch( files.path( "a" ), &handler );
        monitor->addWatch( files.path( "z" ), &handler, TestMonitor::SETTLED );
        {
            const FailingMemory failing( nbSucceeding );
            pass();
        }
        pass();
        EXPECT_THAT( handler.take(), ElementsAre( "Changed x", "Deleted y" ) );
        EXPECT_EQ( monitor->getSnapshot().nbFiles, 5 );
        files.write( "z" );
        pass();
        {
            const FailingMemory failing( nbSucceeding );
            pass();
        }
        pass();
        EXPECT_THAT( handler.take(), ElementsAre( "Created z" ) );
    }
}

/// The same for clients: what `addWatch` raises leaves nothing.
TEST( OsFileMonitorFaultsTest, AddingWithoutMemoryLeavesNothing ) {
    const TestFiles files( "x" );
    const OsFilePath path = files.path( "x" );
    TestMonitor monitor;
    NotingHandler handler;
    NotingHandler other;
    for( const bool isShared : { false, true } ) {
        const auto prepare = [&] {
            monitor->removeAllWatches();
            monitor.pass();
            if( isShared ) {
                monitor->addWatch( path, &other );
            }
        };
        const auto check = [&]( bool hasFailed ) {
            monitor.passAndDrain();
            EXPECT_EQ( monitor->getSnapshot().nbFiles, isShared || !hasFailed ? 1 : 0 );
            EXPECT_EQ( handler.take().size(), hasFailed ? 0 : 1 );
            // Nor does it stand in the way of others.
            monitor->removeWatch( path, &other );
            monitor->addWatch( path, &other );
            monitor.pass();
            EXPECT_EQ( monitor->getSnapshot().nbFiles, 1 );
            prepare();
        };
        prepare();
        forEachFailingNew(
            [&] { monitor->addWatch( path, &handler, TestMonitor::EACH, std::nullopt ); }, check );
    }
}

TEST( OsFileMonitorFaultsTest, ThreadThatCantBeStartedLeavesNoMonitor ) {
    {
        const CallHook failing( "pthread_create", []( const SystemCall& ) { return EAGAIN; } );
        EXPECT_ANY_THROW( OsFileMonitor::createInstance( 1, 2 ) );
        EXPECT_ANY_THROW( OsFileMonitor::getInstance() );
    }
    TestMonitor monitor( 3, 4 );
    double iteration = 0;
    double file = 0;
    monitor->getTimeIntervals( iteration, file );
    EXPECT_EQ( iteration, 3 );
}

TEST( OsFileMonitorFaultsTest, EventThatCantBePostedIsFoundAgain ) {
    const TestFiles files( "x y" );
    NotingHandler handler;
    TestMonitor monitor;
    monitor->addWatch( files.path( "x" ), &handler );
    monitor->addWatch( files.path( "y" ), &handler, TestMonitor::SETTLED );
    monitor.pass();
    monitor.events.reset();
    files.write( "x", "1" );
    files.write( "y", "1" );
    monitor.pass();
    monitor.pass();
    fs::remove( files.at( "x" ) );
    monitor.pass();
    EXPECT_EQ( monitor->getSnapshot().nbEvents, 0 );
    monitor.events.emplace();
    monitor.passAndDrain();
    monitor.passAndDrain();
    EXPECT_THAT( handler.noted, ElementsAre( "Deleted x", "Changed y" ) );
}

/// What differs from a client's baseline waits alone for somebody who takes it.
TEST( OsFileMonitorFaultsTest, BaselineWhoseEventCantBePostedHoldsNoOtherUp ) {
    const TestFiles files( "x y" );
    NotingHandler handler;
    NotingHandler other;
    NotingHandler gone;
    TestMonitor monitor;
    monitor->addWatch( files.path( "x" ), &handler );
    monitor.pass();
    monitor.events.reset();
    monitor->addWatch( files.path( "x" ), &other, TestMonitor::EACH, std::nullopt );
    monitor->addWatch( files.path( "x" ), &gone, TestMonitor::EACH, std::nullopt );
    monitor->addWatch( files.path( "y" ), &handler );
    monitor.pass();
    EXPECT_EQ( monitor->getSnapshot().nbFiles, 2 );
    EXPECT_EQ( monitor->getSnapshot().nbFailures, 2 );
    monitor->removeWatch( files.path( "x" ), &gone );
    files.write( "y", "1" );
    monitor.events.emplace();
    monitor.passAndDrain();
    EXPECT_THAT( other.noted, ElementsAre( "Created x" ) );
    EXPECT_THAT( handler.noted, ElementsAre( "Changed y" ) );
    EXPECT_THAT( gone.noted, IsEmpty() );
    monitor.passAndDrain();
    EXPECT_EQ( other.noted.size(), 1 );
}

} // namespace
} // namespace Qv
