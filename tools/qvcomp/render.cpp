#include <tools/qvcomp/render.h>

#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/placedLayer.h>
#include <tools/qvcomp/tileSum.h>

#include <array>

namespace Qv::Comp {

namespace {

std::optional<Matte> makeMatte( const Scene& scene, std::size_t layer ) {
    if( scene.layers[layer].hasAlpha || scene.mattes == Mattes::NONE ) {
        return std::nullopt;
    }
    return Matte( static_cast<int>( layer ), static_cast<int>( scene.layers.size() ), scene.width,
                  scene.height );
}

PlacedLayer place( const Scene& scene, std::size_t layer ) {
    const LayerInfo& info = scene.layers[layer];
    return PlacedLayer( placeLayer( info, scene ), scene.width, scene.height,
                        makeMatte( scene, layer ), info.options, layer == 0 );
}

std::unique_ptr<TilePlane> composite( const Scene& scene, TileStore& store, PassRunner& runner ) {
    std::vector<PlacedLayer> layers;
    std::vector<std::unique_ptr<TilePlane>> sources;
    for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
        layers.push_back( place( scene, i ) );
        sources.push_back( readLayer( scene.layers[i], store, runner, scene.nbDecoders ) );
    }
    auto picture = store.createPlane( "picture", scene.width, scene.height, TileShape::SQUARE );
    const auto getInputs = [&]( TilePos pos ) {
        std::vector<TileRef> inputs;
        for( std::size_t i = 0; i < layers.size(); ++i ) {
            const auto more =
                listAreaInputs( *sources[i], layers[i].getSource( picture->getArea( pos ) ) );
            inputs.insert( inputs.end(), more.begin(), more.end() );
        }
        return inputs;
    };
    runner.run( { "Compositing", orderByRows( *picture ), getInputs, [&]( TilePos pos ) {
                     {
                         const TileWriter tile = picture->write( pos );
                         clear( tile );
                         for( std::size_t i = 0; i < layers.size(); ++i ) {
                             layers[i].joinTo( tile, *sources[i] );
                         }
                     }
                     picture->finish( pos );
                 } } );
    return picture;
}

double getGlowSigma( const Scene& scene ) noexcept {
    return getGlowSigma( scene.glowRadius, scene.width );
}

} // namespace

std::size_t countWorkingTiles( const Scene& scene, int tileSide ) noexcept {
    const auto count = [&]( int width, int height, TileShape shape ) {
        return countTiles( width, height, getTileSize( tileSide, shape, width ) );
    };
    const std::size_t frame = count( scene.width, scene.height, TileShape::SQUARE );
    std::size_t sources = 0;
    for( const LayerInfo& layer : scene.layers ) {
        sources += count( layer.width, layer.height, TileShape::BAND );
    }
    const std::size_t glow = scene.glow > 0.0
                                 ? count( countGlowColumns( getGlowSigma( scene ), scene.width ),
                                          scene.height, TileShape::SQUARE )
                                 : 0;
    return frame + std::max( sources, 2 * glow );
}

std::vector<double> getPhaseWeights( const Scene& scene, int threads ) {
    // Nanoseconds a pixel, or a pixel and one that it is made of, as measured on one machine.
    constexpr double READING = 60.0;
    constexpr double PLACING = 6.0;
    constexpr double RESAMPLING_ACROSS = 15.0;
    constexpr double RESAMPLING_DOWN = 5.5;
    constexpr double BICUBIC_TAPS = 4.0;
    constexpr double JOINING = 6.0;
    constexpr std::array<double, GLOW_PASSES> GLOW{ 46.0, 23.0, 24.0 };
    const double width = scene.width;
    const double frame = width * scene.height / threads;
    std::vector<double> weights;
    double compositing = 0.0;
    for( const LayerInfo& layer : scene.layers ) {
        weights.push_back( READING * layer.width * layer.height / threads );
        const Placement placement = placeLayer( layer, scene );
        compositing += ( PLACING + JOINING ) * frame;
        if( !placement.isUntouched() ) {
            const auto countTaps = [&]( const AxisPlacement& axis ) {
                return BICUBIC_TAPS * std::max( 1.0, 1.0 / axis.scale );
            };
            compositing +=
                RESAMPLING_ACROSS * countTaps( placement.x ) * width * layer.height / threads +
                RESAMPLING_DOWN * countTaps( placement.y ) * frame;
        }
    }
    weights.push_back( compositing );
    for( const double pass : GLOW ) {
        if( scene.glow > 0.0 ) {
            weights.push_back( pass * frame );
        }
    }
    return weights;
}

std::unique_ptr<TilePlane> renderScene( const Scene& scene, TileStore& store, PassRunner& runner ) {
    auto picture = composite( scene, store, runner );
    if( scene.glow > 0.0 ) {
        addGlow( runner, store, *picture, scene.glow, getGlowSigma( scene ) );
    }
    return picture;
}

} // namespace Qv::Comp
