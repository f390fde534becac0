#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <resmgt/osal/osFile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

TEST( OsFileMonitorBaselineTest, IgnoresWhatIsNoNewerThanToldUntilThatTimeHasCome ) {
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

TEST( OsFileMonitorBaselineTest, SettledFormReportsAChangeOnceTheFileWasEqualInTwoPasses ) {
    const struct {
        const char* what;
        const char* entries;
        /// Before each pass.
        std::vector<const char*> changes;
        Texts events;
    } cases[] = {
        { "written in pieces",
          "x",
          { "x=1", "x=22", "x", "", "" },
          { "", "", "", "Changed x", "" } },
        { "made in pieces", "", { "x=1", "x=22", "", "" }, { "", "", "Created x", "" } },
        { "removed", "x", { "-x", "", "" }, { "", "Deleted x", "" } },
        { "replaced through nothing", "x", { "-x", "x=5", "", "" }, { "", "", "Changed x", "" } },
        { "came and went", "", { "x", "-x", "", "x", "" }, { "", "", "", "", "Created x" } },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.what );
        const TestFiles files( c.entries );
        NotingHandler settled;
        NotingHandler each;
        TestMonitor monitor;
        monitor.watch( files, "x", settled, TestMonitor::SETTLED );
        monitor.watch( files, "x", each );
        monitor.pass();
        Texts events;
        for( const char* const changes : c.changes ) {
            change( files, changes );
            monitor.passAndDrain();
            events.push_back( settled.noted.empty() ? "" : settled.take().back() );
            EXPECT_EQ( each.take().size(), *changes == '\0' ? 0 : 1 );
        }
        EXPECT_EQ( events, c.events );
        monitor->removeWatch( files.path( "x" ), &settled );
        change( files, "-x x=new" );
        monitor.passAndDrain();
        monitor.passAndDrain();
        EXPECT_THAT( settled.noted, IsEmpty() );
    }
}

TEST( OsFileMonitorBaselineTest, BaselineThatTheClientHasSeenMissesNothing ) {
    using Seen = std::optional<OsFileInfo>;
    const struct {
        const char* entries;
        const char* change;
        Texts events;
    } cases[] = { { "x", "", {} },
                  { "x", "x=1", { "Changed x" } },
                  { "x", "-x", { "Deleted x" } },
                  { "", "", {} },
                  { "", "x", { "Created x" } } };
    for( const auto form : { TestMonitor::EACH, TestMonitor::SETTLED } ) {
        for( const bool isWatched : { false, true } ) {
            for( const auto& c : cases ) {
                const TestFiles files( c.entries );
                const OsFilePath path = files.path( "x" );
                const Seen seen = files.has( "x" ) ? Seen( OsFile( path ).getInfo() ) : Seen();
                NotingHandler before;
                NotingHandler handler;
                TestMonitor monitor;
                change( files, c.change );
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
TEST( OsFileMonitorBaselineTest, BaselineNewerThanTheLastPassGivesTheEventOfAllAlone ) {
    const struct {
        const char* entries;
        const char* change;
        const char* event;
    } cases[] = {
        { "x", "x=1", "Changed x" }, { "x", "-x", "Deleted x" }, { "", "x", "Created x" } };
    for( const auto& c : cases ) {
        const TestFiles files( c.entries );
        const OsFilePath path = files.path( "x" );
        NotingHandler before;
        NotingHandler handler;
        TestMonitor monitor;
        monitor->addWatch( path, &before );
        monitor.pass();
        change( files, c.change );
        monitor->addWatch( path, &handler, TestMonitor::EACH,
                           files.has( "x" ) ? std::optional( OsFile( path ).getInfo() )
                                            : std::nullopt );
        monitor.passAndDrain();
        monitor.passAndDrain();
        EXPECT_THAT( before.noted, ElementsAre( c.event ) );
        EXPECT_THAT( handler.noted, ElementsAre( c.event ) );
    }
}

} // namespace
} // namespace Qv
