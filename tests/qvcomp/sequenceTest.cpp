#include <tests/qvcomp/testCommand.h>

#include <resmgt/fileLocks/osFileLock.h>
#include <tests/support/deadline.h>
#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/frames.h>
#include <tools/qvcomp/plainTiles.h>

#include <ImfStandardAttributes.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <fstream>

namespace Qv::Comp {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

TEST( QvcompFramesTest, AreReadAsTheyAreWritten ) {
    const struct {
        const char* text;
        int count;
        int last;
    } cases[] = { { "1001-1100", 100, 1100 },
                  { "1001-1100x2", 50, 1099 },
                  { "7", 1, 7 },
                  { "7x3", 1, 7 },
                  { "0-999999999x99999", 10001, 999990000 },
                  { "1-100000", 100000, 100000 } };
    for( const auto& c : cases ) {
        const auto frames = parseFrames( c.text );
        ASSERT_TRUE( frames ) << c.text;
        EXPECT_EQ( frames->getCount(), c.count ) << c.text;
        EXPECT_EQ( frames->at( c.count - 1 ), c.last ) << c.text;
    }
    for( const char* text :
         { "", "-", "1-", "-5", "5-3", "1-9x0", "1-9x", "1-9x-1", "1x", "1 - 9", "1-100001",
           "1000000000", "1-9,12", "0-99999999999999999999", "a" } ) {
        EXPECT_FALSE( parseFrames( text ) ) << text;
    }
    const std::vector<int> some{ 1, 4, 5, 8, 9, 10, 12, 14, 16 };
    EXPECT_EQ( describeFrames( some, 1 ), "1, 4, 5, 8-10, 12, 14, 16" );
    EXPECT_EQ( describeFrames( std::span( some ).subspan( 5 ), 2 ), "10-16x2" );
}

TEST( QvcompFramesTest, NamesHavePlacesForTheNumber ) {
    const std::tuple<const char*, bool, const char*> cases[] = {
        { "plate.####.exr", true, "plate.0042.exr" },
        { "plate.%04d.exr", true, "plate.0042.exr" },
        { "#/%d/%01d-%09d", true, "42/42/42-000000042" },
        { "100%%/%#1.exr", false, "100%/#1.exr" },
        { "%%04d %4d %0d %s %", false, "%04d %4d %0d %s %" },
        { "plate.exr", false, "plate.exr" } };
    for( const auto& [name, hasPlace, filled] : cases ) {
        EXPECT_EQ( hasFramePlace( name ), hasPlace ) << name;
        EXPECT_EQ( fillFrame( name, 42 ), filled );
    }
    EXPECT_EQ( fillFrame( "##", 1001 ), "1001" );
}

std::vector<std::string> splitReports( std::string output ) {
    constexpr std::string_view END = "\n}\n";
    std::vector<std::string> reports;
    for( std::size_t end; ( end = output.find( END ) ) != std::string::npos; ) {
        reports.push_back( output.substr( 0, end ) );
        output.erase( 0, end + END.size() );
    }
    return reports;
}

using Pixel = std::array<float, CHANNELS>;

/// The operations as compositing is taught: on colours that aren't multiplied by alpha, in double
/// precision.
double mixColours( Operation operation, double s, double a, double d, double b ) {
    const double source = a > 0.0 ? s / a : 0.0;
    const double backdrop = b > 0.0 ? d / b : 0.0;
    const auto composite = [&]( double mixed ) {
        return a * ( 1.0 - b ) * source + a * b * mixed + ( 1.0 - a ) * b * backdrop;
    };
    switch( operation ) {
    case Operation::OVER:
        return composite( source );
    case Operation::PLUS:
        return s + d;
    case Operation::MULTIPLY:
        return composite( source * backdrop );
    default:
        return std::max( s, d ) > 1.0 ? std::max( s, d )
                                      : composite( 1.0 - ( 1.0 - source ) * ( 1.0 - backdrop ) );
    }
}

TEST( QvcompOperationTest, MixColoursAndAlphaByOpacity ) {
    PlainTiles store( 16 );
    const Pixel below[] = { { 0.5F, 0.25F, 1.0F, 1.0F },
                            { 0.1F, 0.3F, 0.2F, 0.4F },
                            { 0.0F, 0.0F, 0.0F, 0.0F },
                            { 30.0F, 0.5F, -0.1F, 1.0F } };
    const Pixel above[] = { { 0.75F, 0.5F, 0.0F, 1.0F },
                            { 0.2F, 0.1F, 0.5F, 0.6F },
                            { 0.0F, 0.0F, 0.0F, 0.0F },
                            { 2.0F, 8.0F, 0.5F, 0.5F } };
    const auto paint = [&]( const auto& getPixel ) {
        auto plane = store.createPlane( "test", 4, 4 );
        const TileWriter tile = plane->write( { 0, 0 } );
        for( int i = 0; i < 16; ++i ) {
            const Pixel& pixel = getPixel( i );
            std::copy( pixel.begin(), pixel.end(), tile.at( i % 4, i / 4 ) );
        }
        return plane;
    };
    for( const Operation operation :
         { Operation::OVER, Operation::PLUS, Operation::MULTIPLY, Operation::SCREEN } ) {
        for( const float opacity : { 1.0F, 0.25F, 0.0F } ) {
            const auto result = paint( [&]( int i ) { return below[i % 4]; } );
            joinPixels( result->write( { 0, 0 } ),
                        paint( [&]( int i ) { return above[i / 4]; } )->read( { 0, 0 } ),
                        { operation, opacity } );
            const TileReader tile = result->read( { 0, 0 } );
            for( int i = 0; i < 16; ++i ) {
                const Pixel& under = below[i % 4];
                const Pixel& over = above[i / 4];
                const double alpha = double{ opacity } * over[3];
                const float* pixel = tile.at( i % 4, i / 4 );
                for( std::size_t c = 0; c < 3; ++c ) {
                    ASSERT_NEAR( pixel[c],
                                 mixColours( operation, double{ opacity } * over[c], alpha,
                                             under[c], under[3] ),
                                 1e-5 )
                        << static_cast<int>( operation ) << ' ' << opacity << ' ' << i << ' ' << c;
                }
                const double sum = alpha + under[3];
                EXPECT_NEAR( pixel[3],
                             operation == Operation::PLUS ? std::min( sum, 1.0 )
                                                          : sum - alpha * under[3],
                             1e-6 );
            }
        }
    }
}

class QvcompSequenceTest : public QvcompTest {
protected:
    QvcompSequenceTest() {
        _layers.clear();
        for( int frame = 1; frame <= 5; ++frame ) {
            paintFrame( frame );
        }
        writeImage( getStill(), makeImage( 0.125F, "RGBA" ) );
    }

    static TestImage makeImage( float light, const char* channels ) {
        TestImage image;
        image.channels = channels;
        image.paint = [=]( int x, int y ) {
            const bool isInside = channels[3] == 0 || ( x > 5 && y > 9 );
            return isInside ? TestPixel{ light, static_cast<float>( x ) / 40.0F, 0.5F, 1.0F }
                            : TestPixel{};
        };
        return image;
    }
    void paintFrame( int frame ) const {
        writeImage( getPlate( frame ), makeImage( static_cast<float>( frame ), "RGB" ) );
    }
    std::string getPlate( int frame ) const {
        return ( _inputs.path() / ( "plate." + std::to_string( 1000 + frame ) + ".exr" ) ).string();
    }
    std::string getStill() const { return ( _inputs.path() / "still.exr" ).string(); }
    std::string getPicture( int frame ) const {
        return ( _outputs.path() / ( "out." + std::to_string( 1000 + frame ) + ".exr" ) ).string();
    }
    Arguments makeSequence( const Arguments& more = {} ) const {
        Arguments arguments{
            "--size",    "40x30",    "--tile",    "16",
            "--threads", "2",        "--scratch", _scratch.path().string(),
            "--report",  "json",     "-o",        ( _outputs.path() / "out.####.exr" ).string(),
            "--frames",  "1001-1005" };
        arguments.insert( arguments.end(), more.begin(), more.end() );
        arguments.insert( arguments.end(),
                          { ( _inputs.path() / "plate.%04d.exr" ).string(), "--operation=screen",
                            "--opacity", "0.5", "--offset", "7,-3", getStill() } );
        return arguments;
    }
    int countPictures() const {
        return static_cast<int>(
            std::distance( fs::directory_iterator( _outputs.path() ), fs::directory_iterator() ) );
    }
};

TEST_F( QvcompSequenceTest, MakesEachFrameAsACommandOfItsOwnWould ) {
    const Outcome all = runInside(
        makeSequence( { "--verify", "--memory", "20K", "--preview",
                        ( _outputs.path() / "small.%04d.png" ).string(), "--write-job",
                        ( _outputs.path() / "job.xml" ).string(), "--frames", "1001-1005x2" } ) );
    ASSERT_EQ( all.status, 0 ) << all.errors;
    EXPECT_EQ( countPictures(), 7 );
    EXPECT_TRUE( fs::exists( _outputs.path() / "small.1005.png" ) );
    const std::vector<std::string> reports = splitReports( all.output );
    ASSERT_EQ( reports.size(), 3U );
    for( const int frame : { 1, 3, 5 } ) {
        const std::string& report = reports[static_cast<std::size_t>( frame / 2 )];
        EXPECT_EQ( getNumber( report, "frame" ), 1000U + static_cast<unsigned>( frame ) );
        // Each describes its own work.
        EXPECT_EQ( getNumber( report, "tiles" ), getNumber( reports[0], "tiles" ) );
        EXPECT_GT( getNumber( report, "bytesRead" ), 0U );
        EXPECT_LT( getNumber( report, "bytesRead" ), 2 * getNumber( reports[0], "bytesRead" ) );
        const std::string picture = readFile( getPicture( frame ) );
        const std::string single = _outputs.path() / "single.exr";
        const Outcome outcome =
            runInside( { "--size", "40x30", "-o", single, "--scratch", _scratch.path().string(),
                         getPlate( frame ), "--offset=+7,-3", "--opacity=0.5", "--operation",
                         "screen", "--", getStill() } );
        ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
        EXPECT_TRUE( readFile( single ) == picture ) << frame;
        fs::remove( single );
        fs::remove( getPicture( frame ) );
    }
    const std::string job = readFile( _outputs.path() / "job.xml" );
    EXPECT_THAT( job, AllOf( HasSubstr( "frames=\"1001-1005x2\"" ),
                             HasSubstr( "<layer operation=\"screen\" opacity=\"0.5\" "
                                        "offset=\"7,-3\" file=" ) ) );
    const std::string path = _outputs.path() / "job.xml";
    EXPECT_EQ( runInside( { "--job", path, "--write-job", path } ).status, 0 );
    EXPECT_EQ( readFile( path ), job );
    EXPECT_EQ( countPictures(), 7 );
}

TEST_F( QvcompSequenceTest, FramesThatCannotBeMadeAreNamedAndTheOthersAreMade ) {
    fs::remove( getPlate( 2 ) );
    fs::remove( getPlate( 5 ) );
    fs::resize_file( getPlate( 3 ), 400 );
    const Outcome outcome = runInside( makeSequence() );
    EXPECT_EQ( outcome.status, 1 );
    EXPECT_THAT( outcome.errors,
                 AllOf( HasSubstr( "plate.%04d.exr': 1002, 1005\n" ),
                        HasSubstr( "frame 1003 was not made: layer '" + getPlate( 3 ) ),
                        HasSubstr( "frames that were not made, 3 of 5: 1002, 1003, 1005\n" ) ) );
    EXPECT_EQ( std::ranges::count( outcome.errors, '\n' ), 3 ) << outcome.errors;
    EXPECT_EQ( splitReports( outcome.output ).size(), 2U );
    EXPECT_TRUE( fs::exists( getPicture( 1 ) ) && fs::exists( getPicture( 4 ) ) );
    EXPECT_EQ( countPictures(), 2 );
    // What all frames need isn't looked for in each.
    fs::remove( getStill() );
    const std::string errors = runInside( makeSequence() ).errors;
    EXPECT_TRUE( errors.ends_with( "\nqvcomp: layer '" + getStill() + "' doesn't exist\n" ) );
    EXPECT_EQ( std::ranges::count( errors, '\n' ), 2 ) << errors;
}

TEST_F( QvcompSequenceTest, NoPictureTakesThePlaceOfAFileThatAnyFrameNeeds ) {
    const std::string job = ( _inputs.path() / "plate.1004.xml" ).string();
    std::ofstream( job ) << "<job/>";
    const std::string plates = ( _inputs.path() / "plate.####.exr" ).string();
    fs::create_symlink( getPlate( 4 ), _outputs.path() / "link.1005.exr" );
    const struct {
        Arguments more;
        const char* text;
    } cases[] = {
        { { "-o", plates }, "is also a layer" },
        { { "--preview", plates }, "is also a layer" },
        { { "-o", ( _outputs.path() / "link.%d.exr" ).string() }, "is also a layer" },
        { { "--write-job", getPlate( 3 ) }, "is also a layer" },
        { { "--write-job", getPicture( 3 ) }, "name the same file" },
        { { "--job", job, "-o", ( _inputs.path() / "plate.####.xml" ).string() }, "also a job" },
        { { "--log-file", getPlate( 2 ) }, "is the log file" },
        { { "-o", getPicture( 1 ) },
          "needs a place for the frame's number, such as ####, since --frames asks for several" },
        { { "--preview", "p.png" }, "--preview 'p.png' needs a place" },
        { { "--frames", "7-1" }, "such as 1001-1100 or 1001-1100x2, of at most 100000 frames" },
    };
    const std::string before = readFile( getPlate( 1 ) );
    for( const auto& c : cases ) {
        const Outcome outcome = runInside( makeSequence( c.more ) );
        EXPECT_EQ( outcome.status, 2 ) << c.text;
        EXPECT_THAT( outcome.errors, HasSubstr( c.text ) );
    }
    EXPECT_EQ( readFile( getPlate( 1 ) ), before );
    EXPECT_EQ( countPictures(), 1 );
    EXPECT_THAT( runInside( { "--size", "8x8", "-o", "o.exr", plates } ).errors,
                 HasSubstr( "'" + plates + "' doesn't exist; --frames gives" ) );
    EXPECT_THAT(
        runInside( { "--size", "8x8", "-o", "o.exr", getStill(), "--opacity", "1" } ).errors,
        HasSubstr( "--opacity comes after the last layer" ) );
}

TEST_F( QvcompSequenceTest, WhoWatchesMakesOnlyTheFramesOfLayersThatChanged ) {
    fs::remove( getPlate( 2 ) );
    Arguments arguments = makeSequence( { "--watch=0.02" } );
    arguments.insert( arguments.begin(), QVCOMP_PROGRAM );
    ChildCommand watching( arguments );
    waitUntil( [&] { return fs::exists( getPicture( 5 ) ); }, "the first pictures" );
    EXPECT_FALSE( fs::exists( getPicture( 2 ) ) );
    paintFrame( 2 );
    waitUntil( [&] { return fs::exists( getPicture( 2 ) ); }, "the frame that was missing" );
    watching.send( SIGTERM );
    const Outcome outcome = watching.finish();
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_EQ( splitReports( outcome.output ).size(), 5U ) << outcome.output;
    EXPECT_THAT( outcome.errors, HasSubstr( "frames that were not made, 1 of 5: 1002\n" ) );
}

TEST_F( QvcompSequenceTest, AFrameWhosePictureIsLockedIsLeftToOthers ) {
    const OPtr<OsFileLock> lock( OsFileLock::lock( getPicture( 2 ) ) );
    ASSERT_FALSE( lock.isNull() );
    const Outcome outcome = runInside( makeSequence( { "--lock" } ) );
    EXPECT_EQ( outcome.status, 1 );
    EXPECT_THAT( outcome.errors,
                 AllOf( HasSubstr( "frame 1002 was not made: '" ),
                        HasSubstr( "frames that were not made, 1 of 5: 1002\n" ) ) );
}

TEST_F( QvcompSequenceTest, WhatTheFirstLayersHeadSaysGoesOnToThePicture ) {
    TestImage image = makeImage( 0.5F, "RGB" );
    image.originX = 15;
    image.originY = -4;
    image.display = { 10, -6, 60, 50 };
    const Imf::Chromaticities wide( { 0.713F, 0.293F }, { 0.165F, 0.83F }, { 0.128F, 0.044F },
                                    { 0.32168F, 0.33767F } );
    image.complete = [&]( Imf::Header& header ) {
        Imf::addChromaticities( header, wide );
        Imf::addFramesPerSecond( header, Imf::Rational( 24000, 1001 ) );
        Imf::addTimeCode( header, Imf::TimeCode( 1, 2, 3, 4 ) );
    };
    writeImage( getPlate( 1 ), image );
    const auto render = [&]( const Arguments& more ) {
        Arguments arguments = makeSequence( { "--frames", "1001" } );
        arguments.insert( arguments.end(), more.begin(), more.end() );
        return runInside( arguments );
    };
    const struct {
        Arguments more;
        std::array<int, 4> display;
        std::array<int, 4> data;
    } cases[] = {
        // The whole window, a part of it and more than it; it scaled; and it as large as the frame.
        { { "--fit=none", "--size=60x50" }, { 10, -6, 69, 43 }, { 10, -6, 69, 43 } },
        { { "--fit=none", "--size=20x70" }, { 10, -6, 69, 43 }, { 10, -6, 29, 63 } },
        { { "--fit=cover", "--size=30x25" }, { 0, 0, 29, 24 }, { 0, 0, 29, 24 } },
        { { "--fit=contain", "--size=60x50" }, { 10, -6, 69, 43 }, { 10, -6, 69, 43 } },
        { { "--fit=cover", "--size=60x40" }, { 0, 0, 59, 39 }, { 0, 0, 59, 39 } } };
    const auto toArray = []( const Imath::Box2i& box ) {
        return std::array{ box.min.x, box.min.y, box.max.x, box.max.y };
    };
    for( const auto& c : cases ) {
        const Outcome outcome = render( c.more );
        ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
        EXPECT_THAT( outcome.errors,
                     AllOf( HasSubstr( "still.exr' has other chromaticities (none, which" ),
                            HasSubstr( "plate.1001.exr' (red 0.713 0.293, green 0.165 0.83, blue "
                                       "0.128 0.044, white 0.3217 0.3377)" ) ) );
        const Imf::Header header = readHeader( getPicture( 1 ) );
        EXPECT_EQ( toArray( header.displayWindow() ), c.display );
        EXPECT_EQ( toArray( header.dataWindow() ), c.data );
        EXPECT_EQ( Imf::chromaticities( header ), wide );
        EXPECT_EQ( Imf::timeCode( header ).frame(), 4 );
        EXPECT_EQ( Imf::framesPerSecond( header ).n, 24000 );
    }
    // Named once in a sequence, and not where they are those that no name stands for.
    image.complete = []( Imf::Header& header ) {
        Imf::addChromaticities( header, Imf::Chromaticities() );
    };
    writeImage( getPlate( 2 ), image );
    EXPECT_EQ( runInside( makeSequence( { "--frames", "1002" } ) ).errors, "" );
    EXPECT_FALSE( Imf::hasTimeCode( readHeader( getPicture( 2 ) ) ) );
    fs::copy_file( getPlate( 1 ), getPlate( 2 ), fs::copy_options::overwrite_existing );
    const std::string errors = runInside( makeSequence( { "--frames", "1001-1002" } ) ).errors;
    EXPECT_EQ( std::ranges::count( errors, '\n' ), 1 ) << errors;
}

#if defined( QV_OIIOTOOL )
TEST_F( QvcompSequenceTest, OperationsAreThoseOfAnotherProgram ) {
    const auto paint = []( double scale ) {
        return [scale]( int x, int y ) {
            const auto light = static_cast<float>( scale * ( ( x * 31 + y * 17 ) % 101 ) / 101.0 );
            return TestPixel{ light, 1.0F - light, 0.25F * light, 1.0F };
        };
    };
    const std::string below = ( _inputs.path() / "below.exr" ).string();
    const std::string above = ( _inputs.path() / "above.exr" ).string();
    const std::string element = ( _inputs.path() / "element.exr" ).string();
    writeImage( below, { 60, 40, "RGBA", 0, 0, 0, paint( 0.9 ) } );
    writeImage( above, { 60, 40, "RGBA", 0, 0, 0, paint( 0.37 ) } );
    writeImage( element, { 30, 20, "RGBA", 0, 0, 0, [&]( int x, int y ) {
                              const TestPixel pixel = paint( 0.7 )( x, y );
                              const float a = static_cast<float>( x ) / 30.0F;
                              return TestPixel{ a * pixel.r, a * pixel.g, a * pixel.b, a };
                          } } );
    const struct {
        Arguments ours;
        Arguments theirs;
    } cases[] = {
        { { above }, { above, below, "--over" } },
        { { "--offset", "45,-8", element }, { element, "--origin", "+45-8", below, "--over" } },
        { { "--opacity=0.25", element }, { element, "--mulc", "0.25", below, "--over" } },
        { { "--operation=plus", above }, { above, below, "--add" } },
        { { "--operation=multiply", above }, { above, below, "--mul" } },
        { { "--operation=screen", above },
          { above, below, "--add", above, below, "--mul", "--sub" } } };
    Arguments theirs{ QV_OIIOTOOL };
    int number = 0;
    for( const auto& c : cases ) {
        theirs.insert( theirs.end(), c.theirs.begin(), c.theirs.end() );
        theirs.insert( theirs.end(),
                       { "--cut", "60x40+0+0", "-d", "float", "-o", getPicture( ++number ) } );
    }
    const Outcome outcome = ChildCommand( theirs ).finish();
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    number = 0;
    for( const auto& c : cases ) {
        Arguments ours{ "--size", "60x40", "--fit=none", "--matte=none", "--glow=0", "-o" };
        ours.insert( ours.end(), { getOutput().string(), below } );
        ours.insert( ours.end(), c.ours.begin(), c.ours.end() );
        ASSERT_EQ( runInside( ours ).status, 0 );
        const std::vector<TestPixel> picture = readImage( getOutput() );
        const std::vector<TestPixel> expected = readImage( getPicture( ++number ) );
        ASSERT_EQ( picture.size(), expected.size() );
        for( std::size_t i = 0; i < picture.size(); ++i ) {
            // Ours are half floats.
            ASSERT_NEAR( picture[i].r, expected[i].r, 1e-3F ) << c.theirs.back() << ' ' << i;
            ASSERT_NEAR( picture[i].g, expected[i].g, 1e-3F );
            ASSERT_NEAR( picture[i].b, expected[i].b, 1e-3F );
            ASSERT_NEAR( picture[i].a, std::min( expected[i].a, 1.0F ), 1e-3F );
        }
    }
}
#endif

} // namespace
} // namespace Qv::Comp
