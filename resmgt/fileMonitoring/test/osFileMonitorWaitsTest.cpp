#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <resmgt/profiling/hwCounter.h>
#include <tests/support/holdPoint.h>
#include <tests/support/processCounts.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <array>
#include <atomic>
#include <optional>

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

} // namespace
} // namespace Qv
