#include <tests/qvcomp/testCommand.h>

#include <tools/qvcomp/tileStore.h>

#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>
#include <tests/support/processLimit.h>

#include <gmock/gmock.h>

#include <half.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <tuple>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using QvcompRunTest = QvcompTest;

TEST_F( QvcompRunTest, MakesTheSameFilesWhateverTheOptions ) {
    const std::string size = "300x170";
    run( { "--size", size, "--tile", "256", "--threads", "1", "--verify" } );
    const std::string image = readFile( getOutput() );
    const std::string preview = readFile( getPreview() );
    ASSERT_FALSE( preview.empty() );
    run( { "--size", size, "--dither", "none" } );
    EXPECT_TRUE( readFile( getOutput() ) == image );
    EXPECT_FALSE( readFile( getPreview() ) == preview );

    // Each tile's memory is just what its threads need, or a few tiles more.
    const struct {
        const char* tile;
        const char* threads;
        const char* memory;
    } limits[] = { { "16", "1", "8446" }, { "16", "4", "33784" }, { "16", "4", "70000" },
                   { "50", "3", "300K" }, { "64", "2", "400K" },  { "256", "2", "5M" },
                   { "512", "2", "20M" } };
    for( const auto& limit : limits ) {
        for( unsigned way = 0; way < 8; ++way ) {
            const Arguments options{ "--size",     size,
                                     "--tile",     limit.tile,
                                     "--threads",  limit.threads,
                                     "--memory",   limit.memory,
                                     "--strategy", way & 1 ? "lru" : "random",
                                     "--policy",   way & 2 ? "relaxed" : "strict",
                                     "--manager",  way & 4 ? "heap" : "arena" };
            SCOPED_TRACE( ::testing::PrintToString( options ) );
            run( options );
            EXPECT_TRUE( readFile( getOutput() ) == image );
            EXPECT_TRUE( readFile( getPreview() ) == preview );
        }
    }
}

/// How far `result` is from `expected`, as a part of the value or of 1, whichever is greater.
float getDistance( const TestPixel& result, const TestPixel& expected ) {
    const auto compare = []( float a, float b ) {
        return std::abs( a - b ) / std::max( 1.0F, std::abs( b ) );
    };
    return std::max( { compare( result.r, expected.r ), compare( result.g, expected.g ),
                       compare( result.b, expected.b ), compare( result.a, expected.a ) } );
}

TEST_F( QvcompRunTest, AMirroredLayerMakesTheMirroredPicture ) {
    // With rings of all kinds to be limited: lamps, faulty pixels, and edges between them.
    const int width = 37;
    const int height = 29;
    const auto paint = [&]( bool isMirrored, bool isFlipped ) {
        return [=]( int x, int y ) {
            x = isMirrored ? width - 1 - x : x;
            y = isFlipped ? height - 1 - y : y;
            const int kind = ( x * 7919 + y * 104729 ) % 61;
            const float light = kind == 0         ? 500.0F
                                : kind == 1       ? -149.0F
                                : x < 15 || y < 9 ? 0.02F
                                                  : 3.0F;
            return TestPixel{ light, 0.7F * light, 0.9F, 1.0F };
        };
    };
    struct Case {
        std::array<int, 2> size;
        Arguments options;
        float tolerance;
    };
    // Half floats, and the glow, which is sampled from the left to the right.
    const Case cases[] = { { { 111, 61 }, { "--glow=0" }, 0x1p-10F },
                           { { 19, 13 }, { "--glow=0", "--fit=contain" }, 0x1p-10F },
                           { { 90, 41 }, { "--glow=0", "--pixel-aspect=2" }, 0x1p-10F },
                           { { 111, 61 }, { "--glow-radius=4" }, 1e-3F } };
    _layers = { ( _inputs.path() / "mirrored.exr" ).string() };
    for( const auto& [size, options, tolerance] : cases ) {
        Arguments all{ "--matte=none", "--size",
                       std::to_string( size[0] ) + "x" + std::to_string( size[1] ) };
        all.insert( all.end(), options.begin(), options.end() );
        std::vector<TestPixel> upright;
        for( unsigned way = 0; way < 4; ++way ) {
            const bool isMirrored = way & 1;
            const bool isFlipped = way & 2;
            writeImage( _layers[0],
                        { width, height, "RGB", 0, 0, 0, paint( isMirrored, isFlipped ) } );
            run( all );
            const std::vector<TestPixel> picture = readImage( getOutput() );
            upright = way == 0 ? picture : upright;
            for( int i = 0; i < size[0] * size[1]; ++i ) {
                const int x = isMirrored ? size[0] - 1 - i % size[0] : i % size[0];
                const int y = isFlipped ? size[1] - 1 - i / size[0] : i / size[0];
                const auto from = static_cast<std::size_t>( y * size[0] + x );
                ASSERT_LE( getDistance( picture[static_cast<std::size_t>( i )], upright[from] ),
                           tolerance )
                    << way << ": " << i % size[0] << ", " << i / size[0];
            }
        }
    }
}

#if defined( QV_OIIOTOOL )
TEST_F( QvcompRunTest, ScalesAsAnotherProgramDoes ) {
    // No contrast at which a limit acts.
    const auto paint = []( int x, int y ) {
        const auto light = static_cast<float>( ( x * 7919 + y * 104729 ) % 97 ) / 97.0F;
        return TestPixel{ 0.25F + 0.75F * light, 1.0F, 2.0F - light, 1.0F };
    };
    _layers = { ( _inputs.path() / "noise.exr" ).string() };
    writeImage( _layers[0], { 96, 48, "RGB", 0, 0, 0, paint } );
    const std::string theirs = ( _outputs.path() / "theirs.exr" ).string();
    for( const auto& [width, height] : { std::pair( 250, 125 ), { 60, 30 }, { 22, 11 } } ) {
        const std::string size = std::to_string( width ) + "x" + std::to_string( height );
        const Outcome outcome =
            ChildCommand( { QV_OIIOTOOL, _layers[0], "--ch", "R,G,B,A=1",
                            "--resize:filter=mitchell", size, "-d", "float", "-o", theirs } )
                .finish();
        ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
        run( { "--size", size, "--matte=none", "--glow=0" } );
        const std::vector<TestPixel> picture = readImage( getOutput() );
        const std::vector<TestPixel> expected = readImage( theirs );
        ASSERT_EQ( picture.size(), expected.size() );
        // Beyond its borders the other program repeats an image's last pixels.
        const int border = 2 * ( width / 96 + 1 );
        for( int y = border; y < height - border; ++y ) {
            for( int x = border; x < width - border; ++x ) {
                const auto i = static_cast<std::size_t>( y * width + x );
                ASSERT_LE( getDistance( picture[i], expected[i] ), 0x1p-10F )
                    << size << ": " << x << ", " << y;
            }
        }
    }
}
#endif

TEST_F( QvcompRunTest, MakesTheSamePictureUnbuffered ) {
    run();
    const std::string image = readFile( getOutput() );
    for( const char* manager : { "heap", "arena" } ) {
        for( const char* tile : { "16", "33" } ) {
            const std::string report =
                run( { "--unbuffered", "--manager", manager, "--tile", tile, "--memory", "200K" } );
            EXPECT_GT( getNumber( report, "reloads" ), 0U );
            EXPECT_LE( getNumber( report, "peakTileBytes" ), 200U * 1024 );
            EXPECT_TRUE( readFile( getOutput() ) == image );
        }
    }
}

TEST_F( QvcompRunTest, UnderALimitTilesGoToDiskAndComeBack ) {
    const std::string report = run( { "--size", "600x500", "--glow-radius", "40%", "--tile", "32",
                                      "--threads", "2", "--memory", "400K" } );
    EXPECT_GT( getNumber( report, "workingSetBytes" ), 8U * 400 * 1024 );
    EXPECT_GT( getNumber( report, "evictions" ), 0U );
    EXPECT_GT( getNumber( report, "reloads" ), getNumber( report, "prefetches" ) );
    EXPECT_GT( getNumber( report, "prefetches" ), 0U );
    EXPECT_EQ( getNumber( report, "bytesRead" ), getNumber( report, "reloads" ) * 32 * 32 * 16 );
    EXPECT_LE( getNumber( report, "peakTileBytes" ), 400U * 1024 );
    EXPECT_GT( getNumber( report, "peakTileBytes" ), 200U * 1024 );
    EXPECT_EQ( getNumber( report, "limitBytes" ), 400U * 1024 );
}

TEST_F( QvcompRunTest, WithoutALimitNothingGoesToDisk ) {
    for( const char* manager : { "heap", "arena" } ) {
        const std::string report = run( { "--size", "400x300", "--manager", manager } );
        EXPECT_EQ( getNumber( report, "bytesWritten" ), 0U );
        EXPECT_EQ( getNumber( report, "reloads" ), 0U );
        EXPECT_THAT( report, HasSubstr( "\"limitBytes\": null" ) );
    }
}

TEST_F( QvcompRunTest, OnlyAPictureThatWaitsForItsGlowGoesToDiskAndOnce ) {
    constexpr int WIDTH = 400;
    constexpr int HEIGHT = 1400;
    const auto runWith = [&]( const Arguments& options, std::uint64_t memory ) {
        Arguments more = options;
        more.insert( more.end(), { "--size", "400x1400", "--memory", std::to_string( memory ) } );
        SCOPED_TRACE( ::testing::PrintToString( more ) );
        const std::string report = run( more );
        EXPECT_LE( getNumber( report, "peakTileBytes" ), memory );
        return report;
    };
    for( const auto& [side, threads, fit] :
         { std::tuple( 16, "1", "cover" ), { 33, "4", "none" }, { 64, "2", "cover" } } ) {
        Arguments options{
            "--tile", std::to_string( side ), "--threads", threads, "--fit", fit, "--glow", "0" };
        const auto getWorkingSet = [&] {
            return getNumber( runWith( options, std::uint64_t{ 1 } << 30 ), "workingSetBytes" );
        };
        EXPECT_EQ( getNumber( runWith( options, getWorkingSet() ), "bytesWritten" ), 0U );
        // Light from everywhere.
        options.insert( options.end(), { "--glow", "1", "--glow-radius", "100%" } );
        const std::uint64_t all = getWorkingSet();
        EXPECT_EQ( getNumber( runWith( options, all ), "bytesWritten" ), 0U );
        const std::string half = runWith( options, all / 2 );
        const std::size_t picture = countTiles( WIDTH, HEIGHT, getTileSize( side, WIDTH ) );
        EXPECT_GT( getNumber( half, "evictions" ), picture / 4 );
        // But for a few tiles that a thread is about to need.
        EXPECT_LE( getNumber( half, "bytesWritten" ),
                   ( picture + picture / 20 ) * static_cast<std::size_t>( side * side ) * 16 );
    }
}

TEST_F( QvcompRunTest, TilesThatAreEvictedWhileALayerIsReadKeepAllItsLines ) {
    // Lines so wide that a tile is filled in several turns, between which it is evicted.
    const auto paint = []( int x, int y ) {
        const float light = static_cast<float>( ( x * 31 + y * 17 ) % 101 ) / 50.0F;
        return TestPixel{ light, 1.0F, static_cast<float>( y ), 1.0F };
    };
    _layers = { ( _inputs.path() / "wide.exr" ).string() };
    writeImage( _layers[0], { 20000, 60, "RGB", 0, 0, 0, paint } );
    EXPECT_THAT( run( { "--size", "70x60", "--tile", "64", "--threads", "1", "--memory", "200K",
                        "--verify" } ),
                 HasSubstr( "\"verified\": true" ) );
}

TEST_F( QvcompRunTest, SamplesThatAreNoNumbersSpoilNothing ) {
    const auto paint = []( int x, int y ) {
        const float values[] = { NAN, INFINITY, -INFINITY, 1e38F, 0.5F, 0.5F, 0.5F };
        const auto at = [&]( int i ) { return values[( i + x + 3 * y ) % 7]; };
        return TestPixel{ at( 0 ), at( 1 ), at( 2 ), at( 3 ) };
    };
    const std::string layer = ( _inputs.path() / "odd.exr" ).string();
    writeImage( layer, { 40, 30, "RGBA", 0, 0, 0, paint } );
    for( const char* operation : { "over", "plus", "multiply", "screen" } ) {
        // The largest values as many times as leave the range of a float when they are multiplied.
        _layers = { layer };
        for( int i = 0; i < 10; ++i ) {
            _layers.insert( _layers.end(), { "--operation", operation, layer } );
        }
        run( { "--size", "90x70" } );
        for( const TestPixel& pixel : readImage( getOutput() ) ) {
            for( const float value : { pixel.r, pixel.g, pixel.b, pixel.a } ) {
                ASSERT_TRUE( value >= -65504.0F && value <= 65504.0F ) << operation << value;
            }
            ASSERT_TRUE( pixel.a >= 0.0F && pixel.a <= 1.0F );
        }
    }
}

TEST_F( QvcompRunTest, APlateThatNeedsNothingKeepsItsPixels ) {
    const auto paint = []( int x, int y ) {
        const auto value = static_cast<float>( ( x * 31 + y * 17 ) % 101 );
        return TestPixel{ 0.883F * value, value - 149.0F, -0.0F, 1.0F };
    };
    _layers = { ( _inputs.path() / "plate.exr" ).string() };
    // Cropped at the upper left, overscanned at the lower right, of wide pixels.
    TestImage image{ 201, 121, "RGB", 0, 15, 7, paint };
    image.display = { 5, 5, 200, 120 };
    image.pixelAspect = 2.0F;
    writeImage( _layers[0], image );
    const std::string report = run(
        { "--fit", "none", "--matte=none", "--pixel-aspect", "2", "--glow", "0", "--verify" } );
    EXPECT_EQ( getNumber( report, "bytesWritten" ), 0U );
    EXPECT_LE( getNumber( report, "peakTileBytes" ), getNumber( report, "workingSetBytes" ) );
    const std::vector<TestPixel> pixels = readImage( getOutput() );
    for( int i = 0; i < 200 * 120; ++i ) {
        const int x = i % 200 - 10;
        const int y = i / 200 - 2;
        const TestPixel expected = x >= 0 && y >= 0 ? paint( x, y ) : TestPixel{};
        const TestPixel& pixel = pixels[static_cast<std::size_t>( i )];
        ASSERT_EQ( pixel.r, static_cast<float>( half( expected.r ) ) ) << x << ", " << y;
        ASSERT_EQ( pixel.g, static_cast<float>( half( expected.g ) ) ) << x << ", " << y;
        ASSERT_EQ( std::signbit( pixel.b ), std::signbit( expected.b ) ) << x << ", " << y;
        ASSERT_EQ( pixel.a, expected.a ) << x << ", " << y;
    }
    EXPECT_EQ( readHeader( getOutput() ).pixelAspectRatio(), 2.0F );
    EXPECT_THAT( runInside( makeArguments( { "--fit=stretch" } ) ).errors,
                 HasSubstr( "--fit takes cover, contain or none, not 'stretch'" ) );
}

TEST_F( QvcompRunTest, ReplacesAnOlderPictureAndLeavesNothingElse ) {
    const int threads = countThreads();
    const int descriptors = countDescriptors();
    for( int i = 0; i < 2; ++i ) {
        run( { "--threads", "4", "--memory", "50K" } );
        EXPECT_EQ( std::distance( fs::directory_iterator( _outputs.path() ), {} ), 2 );
        EXPECT_EQ( std::distance( fs::directory_iterator( getCache() ), {} ), 1 );
    }
    waitUntil( [&] { return countThreads() == threads; }, "the threads to end" );
    EXPECT_EQ( countDescriptors(), descriptors );
}

TEST_F( QvcompRunTest, ReportIsValidJson ) {
    const std::string folder = _outputs.path().string() + '/';
    // The last one isn't UTF-8: a byte alone, an overlong slash, half a character.
    for( const auto& [name, shown] :
         { std::pair( "quo\"te \t\xC3\xA9.exr", "quo\"te \t\xC3\xA9.exr" ),
           { "\xE9t\xE9 \xC0\xAF \xE2\x82", "?t? ?? ??" } } ) {
        const Outcome parsed =
            ChildCommand( { QV_PYTHON, "-c",
                            "import json, sys; r = json.loads( sys.argv[1] );"
                            "print( r['output'] == sys.argv[2], r['width'], r['limitBytes'] )",
                            run( { "--size", "50x40", "-o", folder + name } ), folder + shown } )
                .finish();
        EXPECT_EQ( parsed.output, "True 50 None\n" ) << parsed.errors;
    }
}

TEST_F( QvcompRunTest, TextReportCountsTheLayersInEnglish ) {
    EXPECT_THAT( run( { "--report", "text" } ), HasSubstr( "200 x 120, 3 layers\n" ) );
    _layers.resize( 1 );
    const std::string bell = _outputs.path() / "bell\a.exr";
    EXPECT_THAT( run( { "--report", "text", "-o", bell } ),
                 HasSubstr( "/bell?.exr, 200 x 120, 1 layer\n" ) );
}

TEST_F( QvcompRunTest, FileInTilesIsReadLikeOneInLines ) {
    const auto paint = []( int x, int y ) {
        return TestPixel{ static_cast<float>( x ), static_cast<float>( y ), 0.5F, 1.0F };
    };
    _layers = { ( _inputs.path() / "image.exr" ).string() };
    std::string expected;
    // Tiles of the file smaller and larger than ours and than the image, and several blocks of
    // them side by side.
    for( const int tileWidth : { 0, 2, 14, 64, 700, 5000 } ) {
        writeImage( _layers[0], { 3000, 95, "RGB", tileWidth, -9, 7, paint } );
        run( { "--size", "600x19", "--memory", "10M" } );
        const std::string image = readFile( getOutput() );
        EXPECT_TRUE( expected.empty() || image == expected ) << tileWidth;
        expected = image;
    }
}

TEST_F( QvcompRunTest, GreyIsOnlyWhatHasNoColour ) {
    const auto paint = []( int x, int ) {
        const float light = static_cast<float>( x % 9 );
        return TestPixel{ light, light, light, 1.0F };
    };
    _layers = { ( _inputs.path() / "channels.exr" ).string() };
    for( const auto& [channels, text] : { std::pair( "Y", "" ),
                                          { "YA", "" },
                                          { "YZ", "" },
                                          { "RGBY", "" },
                                          { "RGBYrb", "" },
                                          { "XYZ", "a channel X beside Y" },
                                          { "XY", "a channel X beside Y" },
                                          { "Yrb", "a channel RY beside Y" },
                                          { "Yb", "a channel BY beside Y" },
                                          { "GBY", "neither the channels" },
                                          { "Z", "neither the channels" } } ) {
        writeImage( _layers[0], { 40, 30, channels, 0, 0, 0, paint } );
        const Outcome outcome = runInside( makeArguments() );
        EXPECT_EQ( outcome.status, *text == 0 ? 0 : 1 ) << channels << outcome.errors;
        EXPECT_THAT( outcome.errors, HasSubstr( text ) );
    }
}

TEST_F( QvcompRunTest, LayersMayBeMoreThanTheFilesThatAProcessOpensAtFirst ) {
    _layers = Arguments( 60, _layers[0] );
    const ProcessLimit limit( RLIMIT_NOFILE, 40 );
    const Outcome outcome =
        ChildCommand( makeCommand( { "--size", "24x16", "--memory", "16M" } ) ).finish();
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
}

TEST_F( QvcompRunTest, AllLayersAreSeen ) {
    run( { "--size", "120x80" } );
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
TEST_F( QvcompRunTest, ProcessStaysWithinTheLimitPlusAFixedAmount ) {
    constexpr std::uint64_t LIMIT = std::uint64_t{ 16 } << 20;
    // As documented: the process's own, and 2 MiB for each thread.
    constexpr std::uint64_t ALLOWANCE = ( std::uint64_t{ QV_MEMORY_ALLOWANCE } + 2 * 7 ) << 20;
    for( const char* manager : { "heap", "arena" } ) {
        const Outcome outcome =
            ChildCommand(
                makeCommand( { "--size", "2800x2000", "--glow-radius", "40%", "--tile", "256",
                               "--threads", "7", "--memory", "16M", "--manager", manager } ) )
                .finish();
        ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
        ASSERT_GT( getNumber( outcome.output, "workingSetBytes" ), 5 * LIMIT );
        const std::uint64_t peak = getNumber( outcome.output, "peakProcessBytes" );
        EXPECT_LE( peak, LIMIT + ALLOWANCE ) << manager;
        EXPECT_GT( peak, getNumber( outcome.output, "peakTileBytes" ) );
    }
}

TEST_F( QvcompRunTest, ReadingIsPartOfTheLimitOrRefused ) {
    const auto paint = []( int x, int y ) {
        const float light = static_cast<float>( ( x * 31 + y * 17 ) % 101 ) / 50.0F;
        return TestPixel{ light, 1.0F, static_cast<float>( y ), 1.0F };
    };
    _layers = { ( _inputs.path() / "tiles.exr" ).string() };
    writeImage( _layers[0], { 2048, 1024, "RGB", 2048, 0, 0, paint } );
    const Arguments options{ "--size", "300x200", "--tile", "64", "--memory" };
    const auto runWith = [&]( const std::string& memory ) {
        Arguments more = options;
        more.push_back( memory );
        return ChildCommand( makeCommand( more ) ).finish();
    };
    const std::string refusal = runWith( "16M" ).errors;
    const std::string label = "it needs ";
    ASSERT_THAT( refusal, ::testing::AllOf( HasSubstr( "tiles.exr' takes" ),
                                            HasSubstr( "--memory 16777216 is too little" ) ) );
    const std::string needed =
        std::to_string( std::stoull( refusal.substr( refusal.rfind( label ) + label.size() ) ) );
    const Outcome outcome = runWith( needed );
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_LE( getNumber( outcome.output, "peakProcessBytes" ),
               std::stoull( needed ) + ( std::uint64_t{ QV_MEMORY_ALLOWANCE } << 20 ) );
    // Tiles get what reading doesn't take.
    EXPECT_LE( getNumber( outcome.output, "peakTileBytes" ), 6U * ( 64 * 64 * 16 + 127 ) );
    // Layers that have no room together take turns.
    _layers = { _layers[0], "--operation", "multiply", "--offset", "20,30",
                _layers[0], "--opacity",   "0.3",      _layers[0] };
    const Outcome inTurns = runWith( needed );
    ASSERT_EQ( inTurns.status, 0 ) << inTurns.errors;
    EXPECT_LE( getNumber( inTurns.output, "peakProcessBytes" ),
               std::stoull( needed ) + ( std::uint64_t{ QV_MEMORY_ALLOWANCE } << 20 ) );
    const std::string image = readFile( getOutput() );
    ASSERT_EQ( runWith( "1G" ).status, 0 );
    EXPECT_TRUE( readFile( getOutput() ) == image );
}

Outcome runWithLittleMemory( const Arguments& qvcomp ) {
    Arguments command{ "/bin/sh", "-c", "ulimit -v 300000; exec \"$@\"", "sh" };
    command.insert( command.end(), qvcomp.begin(), qvcomp.end() );
    return ChildCommand( command ).finish();
}

TEST_F( QvcompRunTest, HeadIsPartOfTheLimitBeforeItIsRead ) {
    const std::string good = readFile( _layers[2] );
    // An attribute of a gibibyte, and a window of a thousand million lines.
    const std::string attribute( "comment\0string\0\0\0\0\x40", 19 );
    const std::string label( "dataWindow\0box2i\0\x10\0\0\0", 21 );
    std::string window = good;
    window.replace( window.find( label ) + label.size() + 12, 4, "\xFF\xFF\xFF\x3D" );
    _layers = { ( _inputs.path() / "long.exr" ).string() };
    for( const std::string& start : { good.substr( 0, 8 ) + attribute, window } ) {
        std::ofstream( _layers[0], std::ios::binary ) << start;
        // The rest is a hole: the file is as long as it says.
        fs::resize_file( _layers[0], std::uintmax_t{ 2 } << 30 );
        EXPECT_THAT( runWithLittleMemory( makeCommand( { "--memory", "16M" } ) ).errors,
                     HasSubstr( "bytes of memory to be read, for which --memory 16777216" ) );
    }
}

TEST_F( QvcompRunTest, MemoryThatIsntThereIsOneSentence ) {
    const Outcome outcome =
        runWithLittleMemory( makeCommand( { "--size", "4000x3000", "--tile", "1024" } ) );
    EXPECT_EQ( outcome.status, 1 );
    EXPECT_EQ( outcome.errors, "qvcomp: there isn't enough memory\n" );
}
#endif

TEST( QvcompProgramTest, ShowsHelpAndVersion ) {
    for( const auto& [option, answer] : { std::pair( "--help", "Usage: qvcomp.*" ),
                                          { "--version", "qvcomp [0-9]+\\.[0-9]+\\.[0-9]+\n" } } ) {
        const Outcome outcome = ChildCommand( { QVCOMP_PROGRAM, option } ).finish();
        EXPECT_EQ( outcome.status, 0 );
        EXPECT_THAT( outcome.output, ::testing::MatchesRegex( answer ) );
    }
}

} // namespace
} // namespace Qv::Comp
