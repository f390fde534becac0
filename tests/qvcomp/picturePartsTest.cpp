#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/filterTaps.h>
#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/planeCompare.h>
#include <tools/qvcomp/resample.h>
#include <tools/qvcomp/toneMap.h>

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <numeric>

namespace Qv::Comp {
namespace {

using Pixel = std::array<float, CHANNELS>;
using Paint = std::function<Pixel( int x, int y )>;

/// Runs parts of the work in plain memory and looks at their pixels.
class QvcompPicture : public ::testing::Test {
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

    static Pixel get( TilePlane& plane, int x, int y ) {
        Pixel pixel;
        std::copy_n( plane.read( plane.getPos( x, y ) ).at( x, y ), CHANNELS, pixel.begin() );
        return pixel;
    }

    std::unique_ptr<TilePlane> resample( TilePlane& source, int width, int height ) {
        return Resampling( _runner, _store, std::nullopt ).run( source, "test", width, height );
    }

    PlainTiles _store{ TILE_SIDE };
    Progress _progress{ nullptr, 1 };
    PassRunner _runner{ 2, 0, _progress };
};

Paint paintGrey( const std::function<float( int x, int y )>& light ) {
    return [light]( int x, int y ) {
        const float value = light( x, y );
        return Pixel{ value, value, value, 1.0F };
    };
}

TEST_F( QvcompPicture, ResamplingKeepsAnEvenImageEven ) {
    const auto source = paint( 30, 20, paintGrey( []( int, int ) { return 0.75F; } ) );
    for( const int width : { 7, 30, 64 } ) {
        const auto result = resample( *source, width, width );
        for( const int x : { 0, width / 2, width - 1 } ) {
            EXPECT_NEAR( get( *result, x, x )[0], 0.75F, 1e-6F ) << width << " at " << x;
            EXPECT_NEAR( get( *result, x, x )[3], 1.0F, 1e-6F );
        }
    }
}

TEST_F( QvcompPicture, ResamplingKeepsASlopeStraight ) {
    const auto source =
        paint( 40, 40, paintGrey( []( int x, int ) { return static_cast<float>( x ); } ) );
    const auto result = resample( *source, 100, 100 );
    for( int x = 20; x < 80; ++x ) {
        const float expected = ( static_cast<float>( x ) + 0.5F ) * 0.4F - 0.5F;
        EXPECT_NEAR( get( *result, x, 50 )[0], expected, 1e-4F ) << x;
    }
}

TEST_F( QvcompPicture, ResamplingCoversTheFrameFromItsCentre ) {
    // 3 to 1 into 1 to 1: only the middle third is seen.
    const auto source =
        paint( 90, 30, paintGrey( []( int x, int ) { return x / 30 == 1 ? 1.0F : 0.0F; } ) );
    const auto result = resample( *source, 60, 60 );
    EXPECT_NEAR( get( *result, 5, 30 )[0], 1.0F, 1e-5F );
    EXPECT_NEAR( get( *result, 54, 30 )[0], 1.0F, 1e-5F );
}

TEST_F( QvcompPicture, MadeSmallerFineDetailBecomesItsMeanAndNoPattern ) {
    const auto source = paint(
        210, 210, paintGrey( []( int x, int y ) { return ( x + y ) % 2 == 0 ? 1.0F : 0.0F; } ) );
    const auto result = resample( *source, 30, 30 );
    for( int x = 2; x < 28; ++x ) {
        EXPECT_NEAR( get( *result, x, 15 )[0], 0.5F, 0.01F ) << x;
    }
}

TEST_F( QvcompPicture, ALampHasNoBlackRing ) {
    const auto source = paint(
        20, 20, paintGrey( []( int x, int y ) { return x == 10 && y == 10 ? 1000.0F : 0.5F; } ) );
    const auto result = resample( *source, 80, 80 );
    for( int y = 0; y < 80; ++y ) {
        for( int x = 0; x < 80; ++x ) {
            ASSERT_GT( get( *result, x, y )[0], 0.3F ) << x << ", " << y;
        }
    }
}

TEST( QvcompFilter, WeightsSumToOneAlsoAtTheEnds ) {
    for( const double scale : { 0.1, 1.0, 3.7 } ) {
        const int size = static_cast<int>( 50 * scale );
        const FilterTaps filter( 50, size, scale );
        for( int i = 0; i < size; ++i ) {
            const auto weights = filter.at( i ).weights;
            EXPECT_NEAR( std::accumulate( weights.begin(), weights.end(), 0.0F ), 1.0F, 1e-5F );
            EXPECT_GE( filter.at( i ).first, 0 );
            EXPECT_LE( filter.at( i ).getEnd(), 50 );
        }
    }
}

TEST_F( QvcompPicture, OverShowsWhatALayerLetsThrough ) {
    std::vector<std::unique_ptr<TilePlane>> layers;
    layers.push_back( paint( 20, 20, []( int, int ) { return Pixel{ 1, 1, 0, 1 }; } ) );
    layers.push_back( paint( 20, 20, []( int x, int ) {
        return x < 10 ? Pixel{ 0, 0.25F, 0, 0.25F } : Pixel{ 0, 0, 2, 1 };
    } ) );
    const auto result = compositeLayers( _runner, _store, layers );
    EXPECT_EQ( get( *result, 3, 3 ), ( Pixel{ 0.75F, 1.0F, 0.0F, 1.0F } ) );
    EXPECT_EQ( get( *result, 19, 19 ), ( Pixel{ 0, 0, 2, 1 } ) );
}

TEST( QvcompMatte, ShowsMostOfEachLayerSomewhere ) {
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

TEST_F( QvcompPicture, GlowSpreadsWideAndEvenlyOnBothAxes ) {
    constexpr int SIDE = 150;
    constexpr int MIDDLE = 75;
    const auto lamp = paint( SIDE, SIDE, paintGrey( []( int x, int y ) {
                                 return x == MIDDLE && y == MIDDLE ? 9.0F : 0.0F;
                             } ) );
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

TEST_F( QvcompPicture, OnlyBrightPartsGlow ) {
    const auto dim = paint( 60, 60, paintGrey( []( int x, int y ) {
                                return static_cast<float>( ( x + y ) % 3 ) * 0.49F;
                            } ) );
    const auto copy = paint( 60, 60, [&]( int x, int y ) { return get( *dim, x, y ); } );
    const auto result = addGlow( _runner, _store, *copy );
    for( int x = 0; x < 60; ++x ) {
        EXPECT_EQ( get( *result, x, 30 ), get( *dim, x, 30 ) ) << x;
    }
}

TEST_F( QvcompPicture, ComparisonFindsOneBitThatDiffers ) {
    const Paint slope = paintGrey( []( int x, int y ) { return static_cast<float>( x * y ); } );
    const auto picture = paint( 40, 35, slope );
    const auto same = paint( 40, 35, slope );
    EXPECT_NO_THROW( checkIdentical( *picture, *same ) );
    const auto other = paint( 40, 35, [&]( int x, int y ) {
        Pixel pixel = slope( x, y );
        if( x == 39 && y == 34 ) {
            pixel[3] = std::nextafter( pixel[3], 2.0F );
        }
        return pixel;
    } );
    EXPECT_THROW( checkIdentical( *picture, *other ), Failure );
}

TEST( QvcompToneMap, KeepsBlackAndOrderAndEndsInWhite ) {
    unsigned char last = 0;
    for( const float light : { 0.0F, 0.01F, 0.2F, 0.9F, 3.0F, 1000.0F, 65504.0F } ) {
        const Pixel pixel{ light, light, light, 1.0F };
        std::array<unsigned char, 3> bytes;
        toneMap( bytes.data(), pixel.data(), 1 );
        EXPECT_EQ( bytes[0] == 0, light == 0.0F ) << light;
        EXPECT_GE( bytes[0], last ) << light;
        last = bytes[0];
    }
    EXPECT_EQ( last, 255 );
}

} // namespace
} // namespace Qv::Comp
