#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/planeCompare.h>
#include <tools/qvcomp/progress.h>
#include <tools/qvcomp/resample.h>
#include <tools/qvcomp/toneMap.h>

#include <tests/support/gate.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

namespace Qv::Comp {
namespace {

using Pixel = std::array<float, CHANNELS>;
using Paint = std::function<Pixel( int x, int y )>;

/// Runs parts of the work in plain memory and looks at their pixels.
class QvcompPictureTest : public ::testing::Test {
protected:
    static constexpr int TILE_SIDE = 16;

    std::unique_ptr<TilePlane> paint( int width, int height, const Paint& paint ) {
        auto plane = _store.createPlane( "test", width, height );
        for( const TilePos pos : orderByRows( *plane ) ) {
            const TileWriter tile = plane->write( pos );
            const PixelArea& area = tile.getArea();
            for( int y = area.y0; y < area.y1; ++y ) {
                for( int x = area.x0; x < area.x1; ++x ) {
                    const Pixel pixel = paint( x, y );
                    std::copy( pixel.begin(), pixel.end(), tile.at( x, y ) );
                }
            }
        }
        return plane;
    }

    std::unique_ptr<TilePlane> paintGrey( int width, int height,
                                          const std::function<float( int x, int y )>& light ) {
        return paint( width, height, [light]( int x, int y ) {
            const float value = light( x, y );
            return Pixel{ value, value, value, 1.0F };
        } );
    }

    static Pixel get( TilePlane& plane, int x, int y ) {
        Pixel pixel;
        std::copy_n( plane.read( plane.getPos( x, y ) ).at( x, y ), CHANNELS, pixel.begin() );
        return pixel;
    }

    std::unique_ptr<TilePlane> resample( TilePlane& source, int width, int height ) {
        return Resampling( _runner, _store, std::nullopt ).run( source, "test", width, height );
    }

    PlainTiles _store{ TILE_SIDE };
    Passes _passes;
    const std::unique_ptr<Workers> _workers = makeWorkers( "test", 1, 2 );
    PassRunner _runner{ *_workers, 0, _passes };
};

TEST_F( QvcompPictureTest, PassesAreObservedOnTheMainThreadAndWhole ) {
    const std::thread::id mainThread = std::this_thread::get_id();
    struct Seen final : PassObserver {
        void passBegun( const std::string& name, std::size_t nbSteps ) override {
            keep( name + " of " + std::to_string( nbSteps ) );
        }
        void passStepped( std::size_t nbSteps ) override {
            _nbSteps += nbSteps;
            keep( "" );
        }
        void passDone( const PassRecord& record ) override {
            keep( ", " + std::to_string( _nbSteps ) + " steps, " + record.name + " done; " );
        }
        void keep( const std::string& text ) {
            _text += text;
            _isOnMainThread = _isOnMainThread && std::this_thread::get_id() == _mainThread;
        }
        const std::thread::id _mainThread = std::this_thread::get_id();
        std::size_t _nbSteps = 0;
        std::string _text;
        bool _isOnMainThread = true;
    } seen;
    _passes.add( seen );
    Gate workerSteps( "a worker has a tile" );
    TilePass pass{ "pass", std::vector<TilePos>( 40 ), nullptr, [&]( TilePos ) {
                      if( std::this_thread::get_id() == mainThread ) {
                          workerSteps.wait();
                      } else {
                          workerSteps.open();
                      }
                  } };
    _runner.run( pass );
    pass.work = []( TilePos ) { throw Failure( Tag::INTERRUPTED ); };
    EXPECT_THROW( _runner.run( pass ), Failure );
    EXPECT_EQ( seen._text, "pass of 40, 40 steps, pass done; pass of 40" );
    EXPECT_TRUE( seen._isOnMainThread );
}

TEST_F( QvcompPictureTest, ResamplingKeepsAnEvenImageEven ) {
    const auto source = paintGrey( 30, 20, []( int, int ) { return 0.75F; } );
    for( const int width : { 7, 30, 64 } ) {
        const auto result = resample( *source, width, width );
        for( int x = 0; x < width; ++x ) {
            EXPECT_NEAR( get( *result, x, x )[0], 0.75F, 1e-6F ) << width << " at " << x;
            EXPECT_NEAR( get( *result, x, x )[3], 1.0F, 1e-6F );
        }
    }
}

TEST_F( QvcompPictureTest, ResamplingKeepsASlopeStraight ) {
    const auto source = paintGrey( 40, 40, []( int x, int ) { return static_cast<float>( x ); } );
    const auto result = resample( *source, 100, 100 );
    for( int x = 20; x < 80; ++x ) {
        const float expected = ( static_cast<float>( x ) + 0.5F ) * 0.4F - 0.5F;
        EXPECT_NEAR( get( *result, x, 50 )[0], expected, 1e-4F ) << x;
    }
}

TEST_F( QvcompPictureTest, ResamplingCoversTheFrameFromItsCentre ) {
    // 3 to 1 into 1 to 1: only the middle third is seen.
    const auto source = paintGrey( 90, 30, []( int x, int ) { return x / 30 == 1 ? 1.0F : 0.0F; } );
    const auto result = resample( *source, 60, 60 );
    EXPECT_NEAR( get( *result, 5, 30 )[0], 1.0F, 1e-5F );
    EXPECT_NEAR( get( *result, 54, 30 )[0], 1.0F, 1e-5F );
}

TEST_F( QvcompPictureTest, MadeSmallerFineDetailBecomesItsMeanAndNoPattern ) {
    const auto source =
        paintGrey( 210, 210, []( int x, int y ) { return ( x + y ) % 2 == 0 ? 1.0F : 0.0F; } );
    const auto result = resample( *source, 30, 30 );
    for( int x = 2; x < 28; ++x ) {
        EXPECT_NEAR( get( *result, x, 15 )[0], 0.5F, 0.01F ) << x;
    }
}

TEST_F( QvcompPictureTest, ALampHasNoBlackRing ) {
    const auto source =
        paintGrey( 20, 20, []( int x, int y ) { return x == 10 && y == 10 ? 1000.0F : 0.5F; } );
    const auto result = resample( *source, 80, 80 );
    for( int y = 0; y < 80; ++y ) {
        for( int x = 0; x < 80; ++x ) {
            ASSERT_GT( get( *result, x, y )[0], 0.3F ) << x << ", " << y;
        }
    }
}

TEST_F( QvcompPictureTest, OverShowsWhatALayerLetsThrough ) {
    std::vector<std::unique_ptr<TilePlane>> layers;
    layers.push_back( paint( 20, 20, []( int, int ) { return Pixel{ 1, 1, 0, 1 }; } ) );
    layers.push_back( paint( 20, 20, []( int x, int ) {
        return x < 10 ? Pixel{ 0, 0.25F, 0, 0.25F } : Pixel{ 0, 0, 2, 1 };
    } ) );
    const auto result = compositeLayers( _runner, _store, layers );
    EXPECT_EQ( get( *result, 3, 3 ), ( Pixel{ 0.75F, 1.0F, 0.0F, 1.0F } ) );
    EXPECT_EQ( get( *result, 19, 19 ), ( Pixel{ 0, 0, 2, 1 } ) );
}

TEST( QvcompMatteTest, ShowsMostOfEachLayerSomewhere ) {
    for( const int layers : { 1, 2, 4, 9 } ) {
        for( int layer = 0; layer < layers; ++layer ) {
            float best = 0.0F;
            for( int x = 0; x < 200; ++x ) {
                float seen = Matte( layer, layers, 200, 100 ).at( x, 50 );
                for( int above = layer + 1; above < layers; ++above ) {
                    seen *= 1.0F - Matte( above, layers, 200, 100 ).at( x, 50 );
                }
                best = std::max( best, seen );
            }
            EXPECT_GT( best, 0.9F ) << "layer " << layer << " of " << layers;
        }
    }
}

TEST_F( QvcompPictureTest, GlowSpreadsWideAndEvenlyOnBothAxes ) {
    constexpr int SIDE = 150;
    constexpr int MIDDLE = 75;
    const auto lamp = paintGrey(
        SIDE, SIDE, []( int x, int y ) { return x == MIDDLE && y == MIDDLE ? 9.0F : 0.0F; } );
    const auto result = addGlow( _runner, _store, *lamp );
    const int reach = static_cast<int>( getGlowSigma( SIDE ) * 2.5 );
    for( const int k : { 1, reach } ) {
        const float right = get( *result, MIDDLE + k, MIDDLE )[0];
        EXPECT_GT( right, 0.0F ) << k;
        EXPECT_FLOAT_EQ( right, get( *result, MIDDLE - k, MIDDLE )[0] ) << k;
        EXPECT_FLOAT_EQ( right, get( *result, MIDDLE, MIDDLE + k )[0] ) << k;
        EXPECT_FLOAT_EQ( right, get( *result, MIDDLE, MIDDLE - k )[0] ) << k;
    }
    EXPECT_EQ( get( *result, MIDDLE + 1, MIDDLE )[3], 1.0F );
}

TEST_F( QvcompPictureTest, OnlyBrightPartsGlow ) {
    const auto dim = paintGrey(
        60, 60, []( int x, int y ) { return static_cast<float>( ( x + y ) % 3 ) * 0.49F; } );
    const auto copy = paint( 60, 60, [&]( int x, int y ) { return get( *dim, x, y ); } );
    const auto result = addGlow( _runner, _store, *copy );
    for( int x = 0; x < 60; ++x ) {
        EXPECT_EQ( get( *result, x, 30 ), get( *dim, x, 30 ) ) << x;
    }
}

TEST_F( QvcompPictureTest, ComparisonFindsOneBitThatDiffers ) {
    const Paint slope = []( int x, int y ) {
        return Pixel{ static_cast<float>( x * y ), 0, 0, 1 };
    };
    const auto picture = paint( 40, 35, slope );
    const auto same = paint( 40, 35, slope );
    EXPECT_NO_THROW( checkIdentical( *picture, *same ) );
    const auto other = paint( 40, 35, [&]( int x, int y ) {
        Pixel pixel = slope( x, y );
        pixel[3] = x == 39 && y == 34 ? std::nextafter( pixel[3], 2.0F ) : pixel[3];
        return pixel;
    } );
    EXPECT_THROW( checkIdentical( *picture, *other ), Failure );
}

TEST( QvcompProgressTest, LineFitsTheTerminal ) {
    const ProgressState early{ 0.004, 5.0, "Reading caf\xC3\xA9.exr" };
    const ProgressState half{ 0.5, 37.6, "Reading caf\xC3\xA9.exr" };
    const ProgressState slow{ 0.25, 3000.0, "Glow across" };
    const ProgressState wide{ 0.5, 0.5, "Reading \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E.exr" };
    const std::tuple<ProgressState, int, std::string> cases[] = {
        { early, 80, '[' + std::string( 30, '.' ) + "]   0%  Reading caf\xC3\xA9.exr" },
        { half, 80,
          '[' + std::string( 15, '#' ) + std::string( 15, '.' ) +
              "]  50%  0:38 left  Reading caf\xC3\xA9.exr" },
        { half, 61,
          '[' + std::string( 15, '#' ) + std::string( 15, '.' ) + "]  50%  0:38 left  Reading ca" },
        { half, 63,
          '[' + std::string( 15, '#' ) + std::string( 15, '.' ) +
              "]  50%  0:38 left  Reading caf" },
        { wide, 52,
          '[' + std::string( 15, '#' ) + std::string( 15, '.' ) +
              "]  50%  Reading \xE6\x97\xA5\xE6\x9C\xAC" },
        { slow, 40, "[####..............]  25%  2:30:00 left" },
        { half, 23, " 50%  0:38 left" },
        { half, 24, "[##...]  50%  0:38 left" },
        { half, 10, " 50%" },
        { half, 5, " 50%" },
        { half, 4, "" },
        { half, 1, "" },
    };
    for( const auto& [state, columns, line] : cases ) {
        EXPECT_EQ( formatProgress( state, columns ), line ) << columns;
    }
}

TEST( QvcompProgressTest, PercentageIsOfTheWholeWorkAndNeverFalls ) {
    std::ostringstream terminal;
    {
        Progress progress( &terminal, { 1.0, 0.5, 2.5 }, [] { return 5; } );
        for( const std::size_t steps : { 2U, 0U, 50U } ) {
            progress.passBegun( "phase", steps );
            for( std::size_t i = 0; i < steps; ++i ) {
                progress.passStepped( 1 );
            }
        }
    }
    int last = -1;
    std::istringstream lines( terminal.str() );
    std::vector<int> shown;
    for( std::string line; std::getline( lines, line, '%' ) && !lines.eof(); ) {
        shown.push_back( std::stoi( line.substr( line.rfind( 'K' ) + 1 ) ) );
        EXPECT_GE( shown.back(), last );
        last = shown.back();
    }
    EXPECT_THAT( shown, ::testing::IsSupersetOf( { 0, 12, 25, 37, 100 } ) );
}

// The sRGB bytes of a grey square as large as the pattern, of which so much is on the picture's
// left and above it.
std::vector<unsigned char> toneMapSquare( float light, Dithering dithering, int left = 0,
                                          int above = 0 ) {
    const Dither dither( dithering );
    const std::vector<Pixel> line( Dither::SIDE, Pixel{ light, light, light, 1.0F } );
    std::vector<unsigned char> bytes( 3 * Dither::SIDE * Dither::SIDE );
    for( int y = 0; y < Dither::SIDE; ++y ) {
        toneMap( &bytes[static_cast<std::size_t>( 3 * Dither::SIDE * y )], line[0].data(),
                 Dither::SIDE, dither, left, above + y );
    }
    return bytes;
}

TEST( QvcompToneMapTest, WithoutDitheringBytesAreTheNearest ) {
    const std::pair<float, int> cases[] = { { 0.0F, 0 },   { 0.001F, 4 },  { 0.01F, 30 },
                                            { 0.2F, 126 }, { 0.9F, 197 },  { 3.0F, 241 },
                                            { 1e3F, 255 }, { 65504, 255 }, { -1.0F, 0 } };
    for( const auto& [light, byte] : cases ) {
        EXPECT_THAT( toneMapSquare( light, Dithering::NONE ), ::testing::Each( byte ) ) << light;
    }
}

TEST( QvcompToneMapTest, DitheredBytesHaveTheColoursMeanAndKeepBlackAndWhite ) {
    // Worked out apart: the curve's values, of which all but the first have the same nearest byte.
    const std::pair<float, double> cases[] = { { 0.2F, 125.776774 },    { 0.2002F, 125.823402 },
                                               { 0.2004F, 125.869991 }, { 0.2006F, 125.916539 },
                                               { 0.201F, 126.009515 },  { 0.0F, 0 },
                                               { 1000.0F, 255 } };
    for( const auto& [light, value] : cases ) {
        const auto bytes = toneMapSquare( light, Dithering::POSITION );
        for( std::size_t colour = 0; colour < 3; ++colour ) {
            double sum = 0;
            for( std::size_t i = colour; i < bytes.size(); i += 3 ) {
                ASSERT_LT( std::abs( bytes[i] - value ), 1 );
                sum += bytes[i];
            }
            EXPECT_NEAR( sum / 4096, value, 5e-4 ) << light << ' ' << colour;
        }
    }
    // The pattern belongs to the picture's places, and repeats.
    const auto bytes = toneMapSquare( 0.2F, Dithering::POSITION );
    EXPECT_EQ( toneMapSquare( 0.2F, Dithering::POSITION, 6400, 640 ), bytes );
    const auto further = toneMapSquare( 0.2F, Dithering::POSITION, 1, 63 );
    EXPECT_TRUE( std::equal( bytes.begin() + 3, bytes.begin() + 3 * 64, &further[3 * 64] ) );
    EXPECT_NE( further, bytes );
}

TEST( QvcompDitherTest, EachColourHasAllThresholdsOnceEvenlyAndUnlikeTheOthers ) {
    const Dither dither( Dithering::POSITION );
    for( int colour = 0; colour < 3; ++colour ) {
        std::vector<float> all;
        double blocks[64] = {};
        double likeness = 0;
        for( int i = 0; i < 4096; ++i ) {
            const int x = i % 64;
            const int y = i / 64;
            all.push_back( dither.at( x, y, colour ) * 4096 - 0.5F );
            blocks[y / 8 * 8 + x / 8] += dither.at( x, y, colour ) / 64;
            likeness += ( dither.at( x, y, colour ) - 0.5 ) *
                        ( dither.at( x, y, ( colour + 1 ) % 3 ) - 0.5 );
        }
        std::sort( all.begin(), all.end() );
        for( int i = 0; i < 4096; ++i ) {
            ASSERT_EQ( all[static_cast<std::size_t>( i )], static_cast<float>( i ) );
        }
        EXPECT_THAT( blocks, ::testing::Each( ::testing::DoubleNear( 0.5, 0.002 ) ) );
        EXPECT_NEAR( likeness / 4096 * 12, 0, 0.01 );
    }
}

} // namespace
} // namespace Qv::Comp
