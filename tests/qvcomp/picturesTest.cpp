#include <tests/qvcomp/testCommand.h>
#include <tests/qvcomp/testImages.h>

#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <cmath>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using Arguments = std::vector<std::string>;

class QvcompRun : public ::testing::Test {
protected:
    Arguments makeArguments( const std::string& size, const Arguments& more = {} ) {
        Arguments arguments{ "--size",    size,
                             "-o",        getOutput().string(),
                             "--preview", getPreview().string(),
                             "--scratch", _folder.path().string(),
                             "--report",  "json" };
        arguments.insert( arguments.end(), more.begin(), more.end() );
        arguments.insert( arguments.end(), _layers.begin(), _layers.end() );
        return arguments;
    }

    fs::path getOutput() const { return _folder.path() / "out.exr"; }
    fs::path getPreview() const { return _folder.path() / "out.png"; }

    TempDirectory _inputs;
    TempDirectory _folder;
    Arguments _layers = writeLayers( _inputs.path() );
};

TEST_F( QvcompRun, MakesTheSameFilesWhateverTheOptions ) {
    const std::string size = "300x170";
    ASSERT_EQ( runInside( makeArguments( size, { "--threads", "1", "--verify" } ) ).status, 0 );
    const std::string image = readFile( getOutput() );
    const std::string preview = readFile( getPreview() );
    ASSERT_FALSE( preview.empty() );

    // Each tile's memory is just what its threads need, or a few tiles more.
    struct Limit {
        const char* tile;
        const char* threads;
        const char* memory;
    };
    const Limit limits[] = { { "16", "1", "8446" }, { "16", "4", "33784" }, { "16", "4", "70000" },
                             { "50", "3", "300K" }, { "64", "2", "400K" },  { "256", "2", "5M" },
                             { "512", "2", "20M" } };
    for( const Limit& limit : limits ) {
        for( const char* strategy : { "lru", "random" } ) {
            for( const char* policy : { "relaxed", "strict" } ) {
                for( const char* manager : { "heap", "arena" } ) {
                    const Arguments options{ "--tile",   limit.tile,   "--threads",  limit.threads,
                                             "--memory", limit.memory, "--strategy", strategy,
                                             "--policy", policy,       "--manager",  manager };
                    SCOPED_TRACE( ::testing::PrintToString( options ) );
                    const Outcome outcome = runInside( makeArguments( size, options ) );
                    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
                    EXPECT_TRUE( readFile( getOutput() ) == image );
                    EXPECT_TRUE( readFile( getPreview() ) == preview );
                }
            }
        }
    }
}

TEST_F( QvcompRun, UnderALimitTilesGoToDiskAndComeBack ) {
    const Outcome outcome = runInside(
        makeArguments( "400x300", { "--tile", "32", "--threads", "2", "--memory", "400K" } ) );
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    const std::string& report = outcome.output;
    EXPECT_GT( getNumber( report, "workingSetBytes" ), 8U * 400 * 1024 );
    EXPECT_GT( getNumber( report, "evictions" ), 0U );
    EXPECT_GT( getNumber( report, "reloads" ), getNumber( report, "prefetches" ) );
    EXPECT_GT( getNumber( report, "prefetches" ), 0U );
    EXPECT_EQ( getNumber( report, "bytesRead" ), getNumber( report, "reloads" ) * 32 * 32 * 16 );
    EXPECT_LE( getNumber( report, "peakTileBytes" ), 400U * 1024 );
    EXPECT_GT( getNumber( report, "peakTileBytes" ), 200U * 1024 );
    EXPECT_EQ( getNumber( report, "limitBytes" ), 400U * 1024 );
}

TEST_F( QvcompRun, WithoutALimitNothingGoesToDisk ) {
    for( const char* manager : { "heap", "arena" } ) {
        const Outcome outcome = runInside( makeArguments( "400x300", { "--manager", manager } ) );
        ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
        EXPECT_EQ( getNumber( outcome.output, "bytesWritten" ), 0U );
        EXPECT_EQ( getNumber( outcome.output, "reloads" ), 0U );
        EXPECT_THAT( outcome.output, HasSubstr( "\"limitBytes\": null" ) );
    }
}

TEST_F( QvcompRun, TilesThatWereOnlyReadArentWrittenAgain ) {
    const Outcome outcome =
        runInside( makeArguments( "400x300", { "--tile", "16", "--threads", "1", "--memory", "60K",
                                               "--strategy", "random" } ) );
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    // Every tile is finished once; a layer's source is written line band by line band.
    EXPECT_LE( getNumber( outcome.output, "bytesWritten" ),
               getNumber( outcome.output, "tiles" ) * 16 * 16 * 16 );
    EXPECT_GT( getNumber( outcome.output, "evictions" ), getNumber( outcome.output, "tiles" ) );
}

TEST_F( QvcompRun, TilesThatAreEvictedWhileALayerIsReadKeepAllItsLines ) {
    // Lines so wide that a tile is filled in several turns, between which it is evicted.
    TestImage wide;
    wide.width = 20000;
    wide.height = 60;
    wide.paint = []( int x, int y ) {
        const float light = static_cast<float>( ( x * 31 + y * 17 ) % 101 ) / 50.0F;
        return TestPixel{ light, 1.0F, static_cast<float>( y ), 1.0F };
    };
    _layers = { ( _inputs.path() / "wide.exr" ).string() };
    writeImage( _layers[0], wide );
    const Arguments options{ "--tile", "64", "--threads", "1", "--memory", "200K", "--verify" };
    const Outcome outcome = runInside( makeArguments( "70x60", options ) );
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_THAT( outcome.output, HasSubstr( "\"verified\": true" ) );
}

TEST_F( QvcompRun, SamplesThatAreNoNumbersSpoilNothing ) {
    TestImage odd;
    odd.channels = "RGBA";
    odd.paint = []( int x, int y ) {
        const float values[] = { NAN, INFINITY, -INFINITY, 1e38F, 0.5F, 0.5F, 0.5F };
        const auto at = [&]( int i ) { return values[( i + x + 3 * y ) % 7]; };
        return TestPixel{ at( 0 ), at( 1 ), at( 2 ), at( 3 ) };
    };
    _layers = { ( _inputs.path() / "odd.exr" ).string() };
    writeImage( _layers[0], odd );
    const Outcome outcome = runInside( makeArguments( "90x70" ) );
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    for( const TestPixel& pixel : readImage( getOutput() ) ) {
        for( const float value : { pixel.r, pixel.g, pixel.b, pixel.a } ) {
            ASSERT_TRUE( value >= 0.0F && value <= 65504.0F ) << value;
        }
        ASSERT_LE( pixel.a, 1.0F );
    }
}

TEST_F( QvcompRun, ReplacesAnOlderPictureAndLeavesNothingElse ) {
    const int threads = countThreads();
    const int descriptors = countDescriptors();
    for( int run = 0; run < 2; ++run ) {
        const Arguments options{ "--tile", "16", "--threads", "4", "--memory", "50K" };
        ASSERT_EQ( runInside( makeArguments( "200x100", options ) ).status, 0 );
        EXPECT_EQ( std::distance( fs::directory_iterator( _folder.path() ), {} ), 2 );
    }
    waitUntil( [&] { return countThreads() == threads; }, "the threads to end" );
    EXPECT_EQ( countDescriptors(), descriptors );
}

TEST_F( QvcompRun, ReportIsValidJson ) {
    ASSERT_EQ( runInside( makeArguments( "50x40" ) ).status, 0 );
    Arguments odd = makeArguments( "50x40" );
    odd[3] = ( _folder.path() / "quo\"te \t\xC3\xA9.exr" ).string();
    const Outcome outcome = runInside( odd );
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    const Outcome parsed =
        ChildCommand( { QV_PYTHON, "-c",
                        "import json, sys; r = json.loads( sys.argv[1] );"
                        "print( r['output'] == sys.argv[2], r['width'], r['limitBytes'] )",
                        outcome.output, odd[3] } )
            .finish();
    EXPECT_EQ( parsed.output, "True 50 None\n" ) << parsed.errors;
}

TEST_F( QvcompRun, AllLayersAreSeen ) {
    ASSERT_EQ( runInside( makeArguments( "120x80" ) ).status, 0 );
    const std::vector<TestPixel> pixels = readImage( getOutput() );
    const auto at = [&]( int x, int y ) { return pixels[static_cast<std::size_t>( y * 120 + x )]; };
    // The lowest layer is coloured, the middle one a red disc in the centre, the upper one grey
    // at the right.
    EXPECT_NE( at( 10, 40 ).r, at( 10, 40 ).b );
    EXPECT_GT( at( 55, 40 ).r, 2.0F * at( 55, 40 ).b );
    EXPECT_FLOAT_EQ( at( 115, 40 ).r, at( 115, 40 ).g );
    EXPECT_GT( at( 60, 40 ).a, 0.99F );
}

#if defined( QV_MEMORY_ALLOWANCE )
TEST_F( QvcompRun, ProcessStaysWithinTheLimitPlusAFixedAmount ) {
    constexpr std::uint64_t ALLOWANCE = std::uint64_t{ QV_MEMORY_ALLOWANCE } << 20;
    for( const char* manager : { "heap", "arena" } ) {
        Arguments arguments = makeArguments(
            "2000x1500", { "--threads", "7", "--memory", "16M", "--manager", manager } );
        arguments.insert( arguments.begin(), QVCOMP_PROGRAM );
        const Outcome outcome = ChildCommand( arguments ).finish();
        ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
        ASSERT_GT( getNumber( outcome.output, "workingSetBytes" ),
                   8 * ( std::uint64_t{ 16 } << 20 ) );
        const std::uint64_t peak = getNumber( outcome.output, "peakProcessBytes" );
        EXPECT_LE( peak, ( std::uint64_t{ 16 } << 20 ) + ALLOWANCE ) << manager;
        EXPECT_GT( peak, getNumber( outcome.output, "peakTileBytes" ) );
    }
}
#endif

TEST( QvcompProgram, ShowsHelpAndVersion ) {
    const Outcome help = ChildCommand( { QVCOMP_PROGRAM, "--help" } ).finish();
    EXPECT_EQ( help.status, 0 );
    EXPECT_THAT( help.output, HasSubstr( "Usage: qvcomp" ) );
    const Outcome version = ChildCommand( { QVCOMP_PROGRAM, "--version" } ).finish();
    EXPECT_EQ( version.status, 0 );
    EXPECT_THAT( version.output, ::testing::MatchesRegex( "qvcomp [0-9]+\\.[0-9]+\\.[0-9]+\n" ) );
}

} // namespace
} // namespace Qv::Comp
