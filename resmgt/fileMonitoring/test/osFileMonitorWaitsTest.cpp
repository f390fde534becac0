#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <base/init/src/inPackageFrame.h>
#include <resmgt/fileMonitoring/src/monitoredFile.h>
#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <resmgt/profiling/hwCounter.h>
#include <tests/support/failingNew.h>
#include <tests/support/holdPoint.h>
#include <tests/support/processCounts.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace Qv {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr double NEVER = TestMonitor::NEVER;

/// Holds the first queries about the file of that name, whoever makes them.
class HeldQuery {
public:
    explicit HeldQuery( const char* name )
        : _hook(
              "statx",
              [this, name, nbSeen = 0U]( const SystemCall& call ) mutable {
                  if( call.path != nullptr && std::string( call.path ).ends_with( name ) &&
                      nbSeen < _points.size() ) {
                      _points[nbSeen++].pass();
                  }
                  return 0;
              },
              CallHook::PROCESS ) {}

    void waitUntilReached( std::size_t number = 0 ) { _points[number].waitUntilReached(); }
    /// That one; those behind it are still to be held.
    void release( std::size_t number ) { _points[number].release(); }
    void release() {
        for( HoldPoint& point : _points ) {
            point.release();
        }
    }

private:
    std::array<HoldPoint, 2> _points{ HoldPoint( "a query" ), HoldPoint( "the next query" ) };
    const CallHook _hook;
};

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

/// The queries that the process makes, which are the monitor's.
class CountedQueries {
public:
    int get() const { return _count; }

private:
    std::atomic<int> _count = 0;
    const CallHook _hook{ "statx",
                          [this]( const SystemCall& ) {
                              ++_count;
                              return 0;
                          },
                          CallHook::PROCESS };
};

/// Of a pass, or of the baseline that a request takes.
class StuckMonitorTest : public ::testing::TestWithParam<bool> {};

TEST_P( StuckMonitorTest, NothingWaitsForAQueryThatDoesNotAnswerButWhatHasTo ) {
    const bool isBaseline = GetParam();
    const TestFiles files( "x y" );
    NotingHandler handler;
    TestMonitor monitor( NEVER, 0 );
    if( isBaseline ) {
        monitor->iterateAsap( true );
    }
    monitor.watch( files, "x y", handler );
    if( !isBaseline ) {
        monitor->iterateAsap( true );
    }
    HeldQuery query( "x" );
    monitor->iterateAsap( false );
    query.waitUntilReached();

    monitor->addWatch( files.path( "z" ), &handler );
    monitor->addWatch( files.path( "z" ), &handler, TestMonitor::SETTLED, std::nullopt );
    monitor->removeWatch( files.path( "y" ), &handler );
    monitor->resume();
    monitor->iterateAsap( false );
    monitor.drain();
    double interval = 0;
    monitor->getTimeIntervals( interval, interval );
    waitUntil( [&] { return monitor->getSnapshot().slowestSeconds > 0.01; }, "a slow query" );
    EXPECT_EQ( monitor->getSnapshot().slowestPath, files.path( "x" ) );
    EXPECT_EQ( monitor->getSnapshot().nbFiles, isBaseline ? 1 : 2 );
    monitor->removeAllWatches();
    monitor->addWatch( files.path( "a" ), &handler );

    std::atomic<int> nbReturned = 0;
    const auto waits = [&]( const std::function<void()>& body ) {
        auto thread = std::make_unique<TestThread>( [&nbReturned, body] {
            body();
            ++nbReturned;
        } );
        thread->waitUntilBlocked();
        return thread;
    };
    const auto asker = waits( [&] { monitor->getMonitoredFiles(); } );
    const auto passer = waits( [&] { monitor->iterateAsap( true ); } );
    const auto other = waits( [&] { monitor->iterateAsap( true ); } );
    EXPECT_EQ( nbReturned, 0 );
    const auto pauser = waits( [&] { monitor->pause(); } );
    // A pause lets those go who wait for a pass.
    passer->join();
    other->join();
    EXPECT_EQ( nbReturned, 2 );
    query.release();
    asker->join();
    pauser->join();
    monitor->resume();
    monitor->iterateAsap( true );
    EXPECT_THAT( *monitor->getMonitoredFiles(), ElementsAre( files.path( "a" ) ) );
}

INSTANTIATE_TEST_SUITE_P( Queries, StuckMonitorTest, ::testing::Bool() );

TEST( OsFileMonitorWaitsTest, PauseStopsTheThreadUntilAsManyResumesAndNothingHangsMeanwhile ) {
    const TestFiles files( "x y" );
    NotingHandler handler;
    TestMonitor monitor( 0, 0 );
    monitor.watch( files, "x y", handler );
    monitor->iterateAsap( true );
    monitor->pause();
    const CountedQueries queries;
    monitor->pause();
    monitor->resume();
    files.write( "x", "1" );
    // Each of these hung for good while the thread held what they need.
    EXPECT_EQ( monitor->getMonitoredFiles()->size(), 2 );
    monitor->iterateAsap( true );
    monitor->iterateAsap( true );
    monitor->addWatch( files.path( "z" ), &handler );
    EXPECT_EQ( TestMonitor::Harness::getFilesOfAllRequests( *monitor )->size(), 2 );
    TestThread( [&] {
        monitor->pause();
        monitor->resume();
    } ).join();
    EXPECT_EQ( queries.get(), 0 );
    const std::uint64_t nbPasses = monitor->getSnapshot().nbPasses;
    monitor->resume();
    waitUntil( [&] { return monitor->getSnapshot().nbPasses > nbPasses + 1; }, "more passes" );
    monitor.drain();
    EXPECT_THAT( handler.noted, ElementsAre( "Changed x" ) );
    EXPECT_GT( queries.get(), 0 );
    // A stray resume has no effect on the next pause.
    monitor->resume();
    monitor->pause();
    const int nbQueries = queries.get();
    monitor->iterateAsap( true );
    EXPECT_EQ( queries.get(), nbQueries );
}

TEST( OsFileMonitorWaitsTest, PauseAmongRequestsPutsNoneOffToTheNextPass ) {
    const TestFiles files( "x y" );
    NotingHandler handler;
    TestMonitor monitor( NEVER, 0 );
    monitor->iterateAsap( true );
    const std::uint64_t nbPasses = monitor->getSnapshot().nbPasses;
    monitor.watch( files, "x y", handler );
    HeldQuery query( "x" );
    monitor->iterateAsap( false );
    query.waitUntilReached();
    TestThread pauser( [&] { monitor->pause(); } );
    pauser.waitUntilBlocked();
    query.release();
    pauser.join();
    EXPECT_EQ( monitor->getMonitoredFiles()->size(), 1 );
    EXPECT_EQ( monitor->getSnapshot().nbPasses, nbPasses );
    monitor->resume();
    waitUntil( [&] { return monitor->getSnapshot().nbPasses > nbPasses; }, "the pass" );
    EXPECT_EQ( monitor->getMonitoredFiles()->size(), 2 );
    EXPECT_EQ( monitor->getSnapshot().nbPasses, nbPasses + 1 );
}

TEST( OsFileMonitorWaitsTest, RequestedPassBeginsAfterTheRequestAndIsFollowedByRest ) {
    const TestFiles files( "x" );
    NotingHandler handler;
    TestMonitor monitor( NEVER, 0 );
    const auto nbPasses = [&] { return monitor->getSnapshot().nbPasses; };
    monitor->addWatch( files.path( "x" ), &handler );
    waitUntil( [&] { return nbPasses() == 1; }, "the first pass" );
    EXPECT_FALSE( TestMonitor::Harness::isInIterateAsapMode( *monitor ) );
    monitor->iterateAsap( true );
    EXPECT_TRUE( TestMonitor::Harness::isInIterateAsapMode( *monitor ) );
    EXPECT_EQ( nbPasses(), 2 );

    // The main thread hasn't got the wake-up: that is pending, and one is enough. The end of the
    // pass that is under way isn't that of the one that is waited for.
    HeldQuery query( "x" );
    monitor->iterateAsap( false );
    query.waitUntilReached( 0 );
    TestThread first( [&] { monitor->iterateAsap( true ); } );
    TestThread second( [&] { monitor->iterateAsap( true ); } );
    first.waitUntilBlocked();
    second.waitUntilBlocked();
    EXPECT_EQ( nbPasses(), 2 );
    query.release( 0 );
    query.waitUntilReached( 1 );
    first.waitUntilBlocked();
    second.waitUntilBlocked();
    EXPECT_EQ( nbPasses(), 3 );
    query.release( 1 );
    first.join();
    second.join();
    // Then it rests, though the main thread hasn't got the wake-up: whoever waits for a pass under
    // way finds none.
    for( int i = 0; i < 1000; ++i ) {
        monitor->getMonitoredFiles();
    }
    EXPECT_EQ( nbPasses(), 4 );
    EXPECT_TRUE( TestMonitor::Harness::isInIterateAsapMode( *monitor ) );
    EXPECT_EQ( monitor.drain(), 1 );
    EXPECT_FALSE( TestMonitor::Harness::isInIterateAsapMode( *monitor ) );

    monitor->iterateAsap( false );
    monitor->iterateAsap( true );
    EXPECT_TRUE( TestMonitor::Harness::isInIterateAsapMode( *monitor ) );
    EXPECT_LE( nbPasses(), 6 );
    EXPECT_EQ( monitor.drain(), 1 );
}

TEST( OsFileMonitorWaitsTest, RestsBetweenFilesUnlessAPassIsRequested ) {
    const TestFiles files( "w x y z" );
    NotingHandler handler;
    TestMonitor monitor( 0, NEVER );
    monitor->pause();
    monitor.watch( files, "w x y z", handler );
    const CountedQueries queries;
    monitor->resume();
    // The baselines, then the first file of the pass.
    waitUntil( [&] { return queries.get() == 5; }, "the first file" );
    // Asleep behind it, the thread holds nothing that others need, and wakes for a request.
    EXPECT_EQ( monitor->getMonitoredFiles()->size(), 4 );
    monitor->pause();
    EXPECT_EQ( queries.get(), 5 );
    monitor->resume();
    const std::uint64_t nbPasses = monitor->getSnapshot().nbPasses;
    monitor->iterateAsap( true );
    EXPECT_EQ( monitor->getSnapshot().nbPasses, nbPasses + 2 );
}

TEST( OsFileMonitorWaitsTest, NoDirectoryIsKeptOpenBetweenPasses ) {
    const TestFiles files( "d/x d/y d/z" );
    NotingHandler handler;
    TestMonitor monitor;
    monitor.watch( files, "d/x d/y d/z", handler );
    monitor.pass();
    const int nbDescriptors = countDescriptors();
    int nbOpened = 0;
    {
        const CallHook opening(
            "open",
            [&]( const SystemCall& ) {
                ++nbOpened;
                return 0;
            },
            CallHook::PROCESS );
        monitor.pass();
    }
    EXPECT_EQ( nbOpened, 1 );
    EXPECT_EQ( countDescriptors(), nbDescriptors );
    fs::remove_all( files.at( "d" ) );
    monitor.passAndDrain();
    EXPECT_THAT( handler.noted, ElementsAre( "Deleted x", "Deleted y", "Deleted z" ) );
}

/// Each state in which the end may find the thread.
TEST( OsFileMonitorWaitsTest, EndsFromWhateverItWaitsIn ) {
    const TestFiles files( "x y" );
    const struct {
        const char* what;
        std::function<void( OsFileMonitor& )> bring;
        double iterationInterval;
        double fileInterval;
    } cases[] = {
        { "just started", []( auto& ) {}, NEVER, NEVER },
        { "at rest", []( auto& m ) { m.iterateAsap( true ); }, NEVER, 0 },
        { "between files",
          []( auto& m ) { waitUntil( [&] { return m.getSnapshot().slowestSeconds >= 0; }, "" ); },
          NEVER, NEVER },
        { "paused", []( auto& m ) { m.pause(); }, 0, 0 },
        { "paused and asked",
          []( auto& m ) {
              m.pause();
              m.iterateAsap( true );
          },
          0, 0 },
        { "passing", []( auto& ) {}, 0, 0 },
    };
    const long nbDescriptors = countDescriptors();
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        NotingHandler handler;
        TestMonitor monitor( c.iterationInterval, c.fileInterval );
        monitor.watch( files, "x y", handler );
        c.bring( *monitor );
        const double begin = HwCounter::seconds();
        monitor.end();
        EXPECT_LT( HwCounter::seconds() - begin, 10 * testSlowdown() );
    }
    // One that is externally controlled waits for a pass to be allowed.
    for( const bool isPaused : { false, true } ) {
        TestMonitor monitor;
        monitor.pass();
        if( isPaused ) {
            monitor->pause();
            monitor.pass();
        }
    }
    EXPECT_EQ( countDescriptors(), nbDescriptors );
}

TEST( OsFileMonitorWaitsTest, EndLetsThoseGoWhoWaitForAPassOrAPause ) {
    const TestFiles files( "x" );
    NotingHandler handler;
    TestMonitor monitor( NEVER, 0 );
    monitor->addWatch( files.path( "x" ), &handler );
    HeldQuery query( "x" );
    monitor->iterateAsap( false );
    query.waitUntilReached();
    TestThread passer( [&instance = *monitor] { instance.iterateAsap( true ); } );
    passer.waitUntilBlocked();
    TestThread ender( [&] { monitor.end(); } );
    passer.join();
    query.release();
    ender.join();
}

TEST( OsFileMonitorWaitsTest, ExternallyControlledMonitorPassesWhenTold ) {
    const TestFiles files( "x" );
    NotingHandler handler;
    TestMonitor monitor;
    EXPECT_EQ( raisedBy<ExAssertionFailed>( [&] { monitor->iterateAsap( false ); } ),
               "Assertion failed: \"!_isExternallyControlled\"" );
    monitor->addWatch( files.path( "x" ), &handler );
    EXPECT_EQ( monitor->getSnapshot().nbPasses, 0 );
    for( int i = 1; i < 100; ++i ) {
        monitor.pass();
        ASSERT_EQ( monitor->getSnapshot().nbPasses, i );
    }
    EXPECT_EQ( TestMonitor::Harness::getFilesOfAllRequests( *monitor )->size(), 1 );
    const double begin = HwCounter::seconds();
    TestMonitor::Harness::iterateOnce( *monitor );
    EXPECT_GE( HwCounter::seconds() - begin, 3.0 );
    EXPECT_EQ( monitor->getSnapshot().nbPasses, 100 );
    TestThread( [&] {
        EXPECT_THROW( TestMonitor::Harness::createExternallyControlled(), ExAssertionFailed );
        monitor.pass();
    } ).join();
    EXPECT_EQ( monitor->getSnapshot().nbPasses, 101 );
}

TEST( OsFileMonitorWaitsTest, RemovingAHandlerWaitsForItsEndElsewhereAndNotWithinIt ) {
    const TestFiles files( "x y" );
    for( const bool isAll : { false, true } ) {
        TestMonitor monitor;
        HoldPoint running( "a handler" );
        std::atomic<bool> isDone = false;
        NotingHandler handler( [&] {
            running.pass();
            monitor->removeWatch( files.path( "x" ), &handler );
            isDone = true;
        } );
        NotingHandler other;
        monitor->addWatch( files.path( "x" ), &handler );
        monitor->addWatch( files.path( "x" ), &other );
        monitor->addWatch( files.path( "y" ), &handler );
        monitor.pass();
        files.write( "x", isAll ? "1" : "22" );
        monitor.pass();
        TestThread remover( [&] {
            running.waitUntilReached();
            // What doesn't run doesn't wait.
            monitor->removeWatch( files.path( "y" ), &handler );
            monitor->removeWatch( files.path( "x" ), &other );
            EXPECT_FALSE( isDone );
            TestThread opener( [&] {
                remover.waitUntilBlocked();
                running.release();
            } );
            if( isAll ) {
                monitor->removeAllWatches();
            } else {
                monitor->removeWatch( files.path( "x" ), &handler );
            }
            EXPECT_TRUE( isDone );
        } );
        monitor.drain();
        remover.join();
        EXPECT_THAT( handler.noted, ElementsAre( "Changed x" ) );
        EXPECT_THAT( other.noted, IsEmpty() );
    }
}

TEST( OsFileMonitorWaitsTest, QueryThatFailsIsLoggedOnceAndNothingIsForgotten ) {
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

TEST( OsFileMonitorWaitsTest, LogsEachChangeAndEachFailureOnce ) {
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

TEST( OsFileMonitorWaitsTest, MissingMemoryDelaysEventsAndLosesNone ) {
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
TEST( OsFileMonitorWaitsTest, AddingWithoutMemoryLeavesNothing ) {
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

TEST( OsFileMonitorWaitsTest, ThreadThatCantBeStartedLeavesNoMonitor ) {
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

TEST( OsFileMonitorWaitsTest, EventThatCantBePostedIsFoundAgain ) {
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
TEST( OsFileMonitorWaitsTest, BaselineWhoseEventCantBePostedHoldsNoOtherUp ) {
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
