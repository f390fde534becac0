#include <tools/qvcomp/streamPlan.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace Qv::Comp {
namespace {

LayerInfo makeLayer( int width, int height ) {
    LayerInfo layer{ OsFilePath(), width,        height, true, { 0, 0, width, height },
                     1.0,          FileId( {} ), 0 };
    layer.part = { 256, 256 };
    return layer;
}

/// One layer in a frame.
struct PlanCase {
    int width;
    int height;
    int layerWidth;
    int layerHeight;
    int tileSide;
    int threads;
    double glow;
    Fit fit;
};

Scene makeScene( const PlanCase& c ) {
    Scene scene{ c.width, c.height, { makeLayer( c.layerWidth, c.layerHeight ) } };
    scene.fit = c.fit;
    scene.glow = c.glow;
    return scene;
}

/// The pixels of the pieces, each of which is a part of one tile and no higher than the lowest
/// tiles, or less than twice as high.
std::uint64_t countPixels( const std::vector<PixelArea>& pieces, const PlanCase& c ) {
    const TileSize tile = getTileSize( c.tileSide, c.width );
    std::uint64_t pixels = 0;
    for( const PixelArea& piece : pieces ) {
        EXPECT_FALSE( piece.isEmpty() );
        EXPECT_EQ( ( piece.x1 - 1 ) / tile.width, piece.x0 / tile.width );
        EXPECT_EQ( ( piece.y1 - 1 ) / tile.height, piece.y0 / tile.height );
        EXPECT_LT( piece.getHeight(), 2 * getLeastHeight( c.tileSide ) );
        pixels += static_cast<std::uint64_t>( piece.getWidth() ) *
                  static_cast<std::uint64_t>( piece.getHeight() );
    }
    return pixels;
}

TEST( QvcompStreamPlanTest, StepsMakeEachPixelOnceInLowPiecesOfTiles ) {
    const PlanCase cases[] = {
        { 1, 1, 1, 1, 16, 1, 0.35, Fit::COVER },
        { 1, 65536, 1, 65536, 256, 4, 0.35, Fit::COVER },
        { 3, 65536, 3, 65536, 256, 2, 0.0, Fit::COVER },
        { 100, 8000, 16384, 8640, 256, 2, 0.35, Fit::NONE },
        { 512, 270, 8192, 4320, 256, 2, 0.0, Fit::COVER },
        { 1920, 1080, 4096, 2160, 256, 8, 0.35, Fit::COVER },
        { 2049, 1153, 640, 360, 20, 3, 0.35, Fit::CONTAIN },
        { 65536, 300, 65536, 300, 256, 2, 0.0, Fit::COVER },
    };
    for( const PlanCase& c : cases ) {
        SCOPED_TRACE( std::to_string( c.width ) + " x " + std::to_string( c.height ) );
        const StreamPlan plan( makeScene( c ), { c.tileSide, c.threads, std::nullopt } );
        std::uint64_t composed = 0;
        std::uint64_t complete = 0;
        int steps = 0;
        for( StreamLines lines; !plan.isDone( lines ) && steps < 100000; ++steps ) {
            const StreamLines next = plan.advance( lines );
            composed += countPixels( plan.listPieces( lines.composed, next.composed ), c );
            complete += countPixels( plan.listPieces( lines.complete, next.complete ), c );
            EXPECT_LE( next.taken, lines.complete );
            lines = next;
        }
        const auto pixels =
            static_cast<std::uint64_t>( c.width ) * static_cast<std::uint64_t>( c.height );
        EXPECT_EQ( composed, pixels );
        EXPECT_EQ( complete, pixels );
    }
}

TEST( QvcompStreamPlanTest, ASmallPictureNeedsLittleOfALargeLayer ) {
    struct {
        PlanCase scene;
        std::size_t tiles;
    } const cases[] = {
        // The layers have 2160 and 540 tiles.
        { { 100, 8000, 16384, 8640, 256, 2, 0.0, Fit::NONE }, 24 },
        { { 512, 270, 8192, 4320, 256, 2, 0.0, Fit::COVER }, 110 },
    };
    for( const auto& [scene, tiles] : cases ) {
        const StreamPlan plan( makeScene( scene ), { 256, 2, tiles } );
        EXPECT_TRUE( plan.readsAhead() );
        EXPECT_LE( plan.countTiles(), tiles );
    }
}

} // namespace
} // namespace Qv::Comp
