#include <tests/qvcomp/testCommand.h>

#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/osal/osFileEx.h>
#include <tests/support/deadline.h>
#include <tools/qvcomp/watch.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fstream>

namespace Qv::Comp {
namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

class QvcompWatchTest : public QvcompTest {
protected:
    std::string getLog() const { return ( _outputs.path() / "log.txt" ).string(); }
    /// What a run of its own makes of the layers as they are.
    std::string renderOnce() const {
        run( { "-o", getOther() } );
        return readFile( getOther() );
    }
    void waitForPicture( const std::string& expected, const char* what ) const {
        waitUntil( [&] { return readFile( getOutput() ) == expected; }, what );
    }
    std::string getOther() const { return ( _outputs.path() / "other.exr" ).string(); }
    static void paint( const std::string& path, float red ) {
        TestImage image;
        image.paint = [red]( int, int ) { return TestPixel{ red, 0.5F, 0.25F, 1.0F }; };
        writeImage( path, image );
    }
};

TEST_F( QvcompWatchTest, RendersAgainWhenALayerIsSavedAndWaitsForHalfWrittenOnes ) {
    ChildCommand watching( makeCommand( { "--watch=0.02" } ) );
    waitForPicture( renderOnce(), "the first picture" );

    paint( _layers[0], 0.75F );
    waitForPicture( renderOnce(), "a picture of a layer that was written" );
    paint( _layers[0] + ".new", 0.125F );
    fs::rename( _layers[0] + ".new", _layers[0] );
    const std::string before = renderOnce();
    waitForPicture( before, "a picture of a layer that was replaced" );

    // Half a file stays half for as long as the test likes.
    paint( _layers[0] + ".new", 0.5F );
    const std::string whole = readFile( _layers[0] + ".new" );
    std::ofstream( _layers[0], std::ios::binary ) << whole.substr( 0, whole.size() / 2 );
    fs::rename( _layers[1], _layers[1] + ".away" );
    std::ofstream( _layers[0], std::ios::binary | std::ios::app )
        << whole.substr( whole.size() / 2 );
    fs::rename( _layers[1] + ".away", _layers[1] );
    waitForPicture( renderOnce(), "a picture of the whole layer" );

    watching.send( SIGINT );
    const Outcome outcome = watching.finish();
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_GE( std::ranges::count( outcome.output, '{' ), 4 ) << outcome.output;
}

TEST_F( QvcompWatchTest, LayerThatIsMissingOrDamagedIsReportedAndWaitedFor ) {
    fs::rename( _layers[0], _layers[0] + ".away" );
    const std::string missing = _layers[0] + "' doesn't exist";
    for( const int signal : { SIGINT, SIGTERM } ) {
        fs::remove( getLog() );
        ChildCommand watching( makeCommand( { "--watch=0.02", "--log-file", getLog() } ) );
        waitUntil( [&] { return readFile( getLog() ).find( missing ) != std::string::npos; },
                   "the report" );
        watching.send( signal );
        EXPECT_EQ( watching.finish().status, 0 );
    }
}

TEST_F( QvcompWatchTest, WatchThatCannotBeginLeavesNobodyPosting ) {
    EXPECT_THROW( watchLayers( { _layers[0], OsFilePath() }, 1, []( const auto& ) {} ),
                  OsFileEx::ExNullFilePath );
    OsFileMonitor& monitor = *OsFileMonitor::getInstance();
    const std::uint64_t nbPasses = monitor.getSnapshot().nbPasses;
    // While it is paused that doesn't wait, and no pass is made.
    monitor.iterateAsap( true );
    EXPECT_EQ( monitor.getSnapshot().nbPasses, nbPasses );
    monitor.resume();
    monitor.iterateAsap( true );
    EXPECT_EQ( monitor.getMonitoredFiles()->size(), 0 );
}

} // namespace
} // namespace Qv::Comp
