#include <tests/qvcomp/testImages.h>

#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/pictureStream.h>
#include <tools/qvcomp/placedLayer.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/planeCompare.h>
#include <tools/qvcomp/progress.h>
#include <tools/qvcomp/toneMap.h>

#include <tests/support/gate.h>
#include <tests/support/tempDirectory.h>

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

LayerInfo makeLayer( int width, int height ) {
    return { OsFilePath(), width, height, false, { 0, 0, width, height }, 1.0, FileId( {} ), 0 };
}

Scene makeScene( int width, int height, Fit fit ) {
    Scene scene{ width, height, {} };
    scene.fit = fit;
    return scene;
}

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

    std::unique_ptr<TilePlane> resample( std::unique_ptr<TilePlane> source, int width, int height,
                                         Fit fit = Fit::COVER ) {
        const PlacedLayer layer( placeLayer( makeLayer( source->getWidth(), source->getHeight() ),
                                             makeScene( width, height, fit ) ),
                                 width, height, std::nullopt, {}, true );
        auto result = paint( width, height, []( int, int ) { return Pixel{}; } );
        for( const TilePos pos : orderByRows( *result ) ) {
            layer.joinTo( result->write( pos ), *source );
        }
        return result;
    }

    void addGlow( TilePlane& picture, double strength, double sigma ) {
        const Glow glow( strength, sigma, picture.getWidth(), picture.getHeight() );
        const int height = picture.getHeight();
        const auto across = _store.createPlane( "light", glow.getColumns(), height );
        for( int y = 0; y < height; y += TILE_SIDE / 2 ) {
            const int end = std::min( y + TILE_SIDE / 2, height );
            for( const PixelArea& area : glow.listAreas( picture, y, end ) ) {
                glow.spread( picture, *across, area );
            }
        }
        for( const TilePos pos : orderByRows( picture ) ) {
            glow.addTo( picture.write( pos ), *across );
        }
    }

    /// The plane with its lines turned into columns, and its columns mirrored.
    std::unique_ptr<TilePlane> turn( TilePlane& plane ) {
        return paint( plane.getHeight(), plane.getWidth(),
                      [&]( int x, int y ) { return get( plane, y, plane.getHeight() - 1 - x ); } );
    }

    PlainTiles _store{ TILE_SIDE };
    Passes _passes;
    const std::unique_ptr<Workers> _workers = makeWorkers( "test", 1, 2 );
    PassRunner _runner{ *_workers, 0, _passes };
};

TEST_F( QvcompPictureTest, PassesAreObservedOnTheMainThreadAndWhole ) {
    const std::thread::id mainThread = std::this_thread::get_id();
    struct Seen final : PassObserver {
        void passBegun( const std::string& name ) override { keep( name + ": " ); }
        void passStepped( double part ) override {
            _part += part;
            keep( "" );
        }
        void passDone( const std::vector<PassRecord>& records ) override {
            for( const PassRecord& record : records ) {
                keep( std::to_string( record.nbSteps ) + ' ' + record.name + ", " );
            }
            keep( std::to_string( _part ) + "; " );
        }
        void keep( const std::string& text ) {
            _text += text;
            _isOnMainThread = _isOnMainThread && std::this_thread::get_id() == _mainThread;
        }
        const std::thread::id _mainThread = std::this_thread::get_id();
        double _part = 0.0;
        std::string _text;
        bool _isOnMainThread = true;
    } seen;
    _passes.add( seen );
    Gate workerSteps( "a worker has a tile" );
    std::vector<Unit> units( 40, { nullptr, [&] {
                                      if( std::this_thread::get_id() == mainThread ) {
                                          workerSteps.wait();
                                      } else {
                                          workerSteps.open();
                                      }
                                  } } );
    for( std::size_t i = 0; i < units.size(); ++i ) {
        units[i].kind = i % 4 == 0 ? 1 : 0;
        units[i].part = 0.0125;
    }
    _passes.begin( "first", { "many", "few" } );
    _runner.run( units );
    _runner.run( units );
    _passes.end();
    units[7].work = [] { throw Failure( Tag::INTERRUPTED ); };
    _passes.begin( "second", { "many", "few" } );
    EXPECT_THROW( _runner.run( units ), Failure );
    EXPECT_EQ( seen._text, "first: 60 many, 20 few, 1.000000; second: " );
    EXPECT_TRUE( seen._isOnMainThread );
}

TEST_F( QvcompPictureTest, PartsOfASceneAreTheWholeAlsoWhereLittleIsReadOrInFewParts ) {
    struct Sum final : PassObserver {
        void passStepped( double part ) override { all += part; }
        double all = 0.0;
    } sum;
    struct Sink final : PictureSink {
        std::string getKind() const override { return "Taking"; }
        std::vector<Unit> take( TilePlane&, int, int ) override {
            return { { nullptr, [] {} } };
        }
    } sink;
    const TempDirectory folder;
    const OsFilePath path( ( folder.path() / "layer.exr" ).string() );
    writeImage(
        path.getChars(),
        { .width = 70,
          .height = 600,
          .paint = []( int, int ) { return TestPixel{}; },
          .complete = []( Imf::Header& head ) { head.compression() = Imf::DWAB_COMPRESSION; } } );
    Scene scene = makeScene( 60, 700, Fit::NONE );
    for( const int offsetY : { 0, -570, 1000 } ) {
        scene.layers.push_back( probeLayer( path, []( std::uint64_t ) {} ) );
        scene.layers.back().options.offsetY = offsetY;
    }
    scene.glow = 1.0;
    _passes.add( sum );
    streamScene( scene, StreamPlan( scene, { TILE_SIDE, 1, std::nullopt } ), _store, _runner, sink,
                 "scene" );
    EXPECT_NEAR( sum.all, 1.0, 1e-9 );
}

/// The filter of Mitchell and Netravali, as they print it for B = C = 1/3.
double evaluateMitchell( double x ) {
    x = std::abs( x );
    return x < 1.0   ? ( 7.0 * x * x * x - 12.0 * x * x + 16.0 / 3.0 ) / 6.0
           : x < 2.0 ? ( -7.0 / 3.0 * x * x * x + 12.0 * x * x - 20.0 * x + 32.0 / 3.0 ) / 6.0
                     : 0.0;
}

/// The weights of the positions of a line at one of the frame, of which each lies in the line.
std::vector<double> makeWeights( int sourceSize, int targetSize, int target, double scale ) {
    const double widening = std::max( 1.0, 1.0 / scale );
    const double centre = ( target + 0.5 - targetSize / 2.0 ) / scale + sourceSize / 2.0 - 0.5;
    std::vector<double> weights;
    double sum = 0.0;
    for( int k = 0; k < sourceSize; ++k ) {
        weights.push_back( evaluateMitchell( ( k - centre ) / widening ) );
        sum += weights.back();
    }
    for( double& weight : weights ) {
        weight /= sum;
    }
    return weights;
}

TEST_F( QvcompPictureTest, ResamplingIsTheExactFilterWhereNoLimitActs ) {
    const auto getLight = []( int x, int y ) {
        return 0.25F + 0.75F * static_cast<float>( ( x * 7919 + y * 104729 ) % 97 ) / 97.0F;
    };
    // Larger and smaller, cut off across and down, and with odd rests of tiles.
    const std::tuple<int, int, int, int> cases[] = {
        { 30, 20, 64, 40 }, { 50, 41, 17, 33 }, { 40, 40, 39, 39 }, { 90, 30, 11, 7 } };
    for( const auto& [width, height, newWidth, newHeight] : cases ) {
        const auto result = resample( paintGrey( width, height, getLight ), newWidth, newHeight );
        const double scale = std::max( newWidth * 1.0 / width, newHeight * 1.0 / height );
        for( int y = 0; y < newHeight; ++y ) {
            const auto down = makeWeights( height, newHeight, y, scale );
            for( int x = 0; x < newWidth; ++x ) {
                const auto across = makeWeights( width, newWidth, x, scale );
                double exact = 0.0;
                for( int j = 0; j < height; ++j ) {
                    for( int i = 0; i < width; ++i ) {
                        exact += across[static_cast<std::size_t>( i )] *
                                 down[static_cast<std::size_t>( j )] * getLight( i, j );
                    }
                }
                ASSERT_NEAR( get( *result, x, y )[0], exact, 1e-6 ) << newWidth << ": " << x << y;
                ASSERT_NEAR( get( *result, x, y )[3], 1.0F, 1e-6F );
            }
        }
    }
}

TEST_F( QvcompPictureTest, ALampAndAFaultyPixelMakeNoRings ) {
    for( const auto& [size, newSize] : { std::pair( 20, 80 ), { 90, 40 } } ) {
        for( const float light : { 1000.0F, -149.0F } ) {
            const auto result =
                resample( paintGrey( size, size,
                                     [&, middle = size / 2]( int x, int y ) {
                                         return x == middle && y == middle ? light : 0.95F;
                                     } ),
                          newSize, newSize );
            float sum = 0.0F;
            for( int y = 0; y < newSize; ++y ) {
                for( int x = 0; x < newSize; ++x ) {
                    const float pixel = get( *result, x, y )[0];
                    ASSERT_TRUE( light > 0.0F ? pixel > 0.45F : pixel < 1.0F )
                        << light << " becomes " << pixel << " at " << x << ", " << y;
                    sum += pixel - 0.95F;
                }
            }
            // All of it is still there, somewhere.
            const float area =
                static_cast<float>( newSize * newSize ) / static_cast<float>( size * size );
            EXPECT_NEAR( sum / ( light * area ), 1.0F, 0.15F );
        }
    }
}

TEST_F( QvcompPictureTest, ATurnedImageBecomesTheTurnedPicture ) {
    // With rings of all kinds to be limited: lamps, faulty pixels, and edges between them.
    const auto source = paintGrey( 37, 29, []( int x, int y ) {
        const int kind = ( x * 7919 + y * 104729 ) % 61;
        return kind == 0 ? 500.0F : kind == 1 ? -149.0F : x < 15 || y < 9 ? 0.02F : 3.0F;
    } );
    for( const auto& [width, height] : { std::pair( 111, 61 ), { 19, 13 } } ) {
        auto turned = turn( *source );
        const auto upright =
            resample( turn( *turn( *turn( *turned ) ) ), width, height, Fit::CONTAIN );
        const auto lying = resample( std::move( turned ), height, width, Fit::CONTAIN );
        const auto expected = turn( *upright );
        for( int y = 0; y < width; ++y ) {
            for( int x = 0; x < height; ++x ) {
                for( std::size_t c = 0; c < CHANNELS; ++c ) {
                    ASSERT_NEAR( get( *lying, x, y )[c], get( *expected, x, y )[c], 2e-4F )
                        << width << ": " << x << ", " << y;
                }
            }
        }
    }
}

TEST_F( QvcompPictureTest, AnImageThatNeedsNoScalingPassesBitForBit ) {
    const Paint noise = []( int x, int y ) {
        const auto value = static_cast<float>( ( x * 7919 + y * 104729 ) % 997 );
        return Pixel{ 0.883F * value, -149.0F + value, 1.0F / ( value + 1.0F ), 0.5F };
    };
    // The same size, too small, too large, and apart by half a pixel.
    for( const auto& [width, height, fit] : { std::tuple( 50, 35, Fit::COVER ),
                                              { 50, 35, Fit::NONE },
                                              { 61, 35, Fit::CONTAIN },
                                              { 50, 20, Fit::COVER },
                                              { 70, 20, Fit::NONE },
                                              { 20, 60, Fit::NONE } } ) {
        const auto result = resample( paint( 50, 35, noise ), width, height, fit );
        const int left = fit == Fit::NONE ? 0 : ( width - 50 ) / 2;
        const int top = fit == Fit::NONE ? 0 : -( ( 35 - height + 1 ) / 2 );
        for( int y = 0; y < height; ++y ) {
            for( int x = 0; x < width; ++x ) {
                const int fromX = x - left;
                const int fromY = y - top;
                const bool isThere = fromX >= 0 && fromX < 50 && fromY >= 0 && fromY < 35;
                ASSERT_EQ( get( *result, x, y ), isThere ? noise( fromX, fromY ) : Pixel{} )
                    << width << " x " << height << " at " << x << ", " << y;
            }
        }
    }
}

TEST_F( QvcompPictureTest, AnImageInsideTheFrameEndsInASoftEdge ) {
    const auto result =
        resample( paintGrey( 30, 30, []( int, int ) { return 0.5F; } ), 91, 40, Fit::CONTAIN );
    // 40 wide, from 25.5 to 65.5.
    for( int x = 0; x < 91; ++x ) {
        const float alpha = x < 25 || x > 65 ? 0.0F : x == 25 || x == 65 ? 0.5F : 1.0F;
        ASSERT_NEAR( get( *result, x, 0 )[3], alpha, 1e-6F ) << x;
        ASSERT_NEAR( get( *result, x, 39 )[0], 0.5F * alpha, 1e-6F ) << x;
    }
}

TEST( QvcompPlacementTest, LayersStandByTheirDisplayWindows ) {
    const auto place = []( const DisplayWindow& display, double aspect, const Scene& scene ) {
        LayerInfo layer = makeLayer( 200, 100 );
        layer.display = display;
        layer.pixelAspect = aspect;
        const Placement placement = placeLayer( layer, scene );
        return std::tuple( placement.x.scale, placement.x.origin, placement.y.scale,
                           placement.y.origin );
    };
    Scene wide = makeScene( 400, 100, Fit::NONE );
    wide.pixelAspect = 2.0;
    const DisplayWindow whole{ 0, 0, 200, 100 };
    const DisplayWindow cropped{ -30, -20, 400, 200 };
    const DisplayWindow overscanned{ 10, 5, 180, 90 };
    const auto cover = makeScene( 400, 400, Fit::COVER );
    const auto contain = makeScene( 400, 400, Fit::CONTAIN );
    const auto none = makeScene( 400, 400, Fit::NONE );
    using Expected = std::tuple<double, double, double, double>;
    EXPECT_EQ( place( whole, 1.0, cover ), Expected( 4.0, -200.0, 4.0, 0.0 ) );
    EXPECT_EQ( place( whole, 1.0, contain ), Expected( 2.0, 0.0, 2.0, 100.0 ) );
    EXPECT_EQ( place( whole, 1.0, none ), Expected( 1.0, 0.0, 1.0, 0.0 ) );
    EXPECT_EQ( place( cropped, 1.0, none ), Expected( 1.0, 30.0, 1.0, 20.0 ) );
    EXPECT_EQ( place( cropped, 1.0, contain ), Expected( 1.0, 30.0, 1.0, 120.0 ) );
    EXPECT_EQ( place( overscanned, 1.0, none ), Expected( 1.0, -10.0, 1.0, -5.0 ) );
    // Of wide pixels, as wide as high.
    EXPECT_EQ( place( whole, 2.0, none ), Expected( 2.0, 0.0, 1.0, 0.0 ) );
    EXPECT_EQ( place( whole, 2.0, contain ), Expected( 2.0, 0.0, 1.0, 150.0 ) );
    EXPECT_EQ( place( whole, 2.0, wide ), Expected( 1.0, 0.0, 1.0, 0.0 ) );
    EXPECT_EQ( place( whole, 1.0, wide ), Expected( 0.5, 0.0, 1.0, 0.0 ) );
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

TEST_F( QvcompPictureTest, GlowIsAGaussianWithinAThousandthOfItsPeak ) {
    // From one that needs no columns between to one wider than the frame; lamps at all places
    // between the columns, and at a corner.
    for( const double sigma : { 0.1, 1.0, 6.4, 7.5, 9.7, 23.0, 200.0 } ) {
        const auto getWeight = [&]( int distance ) {
            double sum = 0.0;
            for( int k = -2000; k <= 2000; ++k ) {
                sum += std::exp( -0.5 * k * k / ( sigma * sigma ) );
            }
            return std::exp( -0.5 * distance * distance / ( sigma * sigma ) ) / sum;
        };
        std::vector<double> weights;
        for( int k = 0; k < 150; ++k ) {
            weights.push_back( getWeight( k ) );
        }
        const auto weigh = [&]( int k ) {
            return weights[static_cast<std::size_t>( std::abs( k ) )];
        };
        for( const int lampX : { 0, 70, 71, 73, 76, 139 } ) {
            constexpr int LAMP_Y = 41;
            const auto picture = paintGrey(
                140, 90, [&]( int x, int y ) { return x == lampX && y == LAMP_Y ? 9.0F : 0.5F; } );
            addGlow( *picture, 0.25, sigma );
            const double peak = 0.25 * 8.0 * weigh( 0 ) * weigh( 0 );
            for( int y = 0; y < 90; ++y ) {
                for( int x = 0; x < 140; ++x ) {
                    const double glow = 0.25 * 8.0 * weigh( x - lampX ) * weigh( y - LAMP_Y );
                    const double light = x == lampX && y == LAMP_Y ? 9.0 : 0.5;
                    ASSERT_NEAR( get( *picture, x, y )[0], light + glow, 1e-3 * peak + 1e-6 )
                        << sigma << ", " << lampX << ": " << x << ", " << y;
                    ASSERT_EQ( get( *picture, x, y )[3], 1.0F );
                }
            }
        }
    }
}

TEST_F( QvcompPictureTest, OnlyBrightPartsGlow ) {
    const Paint paintDim = []( int x, int y ) {
        return Pixel{ static_cast<float>( ( x + y ) % 3 ) * 0.49F, -149.0F, 0.1F, 1.0F };
    };
    const auto dim = paint( 60, 60, paintDim );
    addGlow( *dim, 1.0, 4.0 );
    for( int x = 0; x < 60; ++x ) {
        EXPECT_EQ( get( *dim, x, 30 ), paintDim( x, 30 ) ) << x;
    }
}

TEST_F( QvcompPictureTest, ComparisonFindsOneBitThatDiffers ) {
    const Paint slope = []( int x, int y ) {
        return Pixel{ static_cast<float>( x * y ), 0, 0, 1 };
    };
    const auto picture = paint( 40, 35, slope );
    const auto other = paint( 40, 35, [&]( int x, int y ) {
        Pixel pixel = slope( x, y );
        pixel[3] = x == 39 && y == 34 ? std::nextafter( pixel[3], 2.0F ) : pixel[3];
        return pixel;
    } );
    PictureComparison comparison( *picture );
    _passes.begin( "comparing", { "work" } );
    EXPECT_NO_THROW( _runner.run( comparison.take( *paint( 40, 35, slope ), 0, 35 ) ) );
    EXPECT_NO_THROW( _runner.run( comparison.take( *other, 0, 34 ) ) );
    EXPECT_THROW( _runner.run( comparison.take( *other, 34, 35 ) ), Failure );
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
        for( const int steps : { 2, 0, 50 } ) {
            progress.passBegun( "phase" );
            for( int i = 0; i < steps; ++i ) {
                progress.passStepped( 1.0 / steps );
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
