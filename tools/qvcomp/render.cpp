#include <tools/qvcomp/render.h>

#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/placement.h>
#include <tools/qvcomp/resample.h>

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

std::unique_ptr<TilePlane> renderLayer( const Scene& scene, std::size_t layer, TileStore& store,
                                        PassRunner& runner ) {
    const LayerInfo& info = scene.layers[layer];
    auto source = readLayer( info, store, runner.getPasses() );
    return Resampling( runner, store, makeMatte( scene, layer ) )
        .run( std::move( source ), info.path.getBaseName( OsFilePath::WITH_EXTENSION ).toString(),
              placeLayer( info, scene ), scene.width, scene.height );
}

std::vector<LayerOptions> getLayerOptions( const Scene& scene ) {
    std::vector<LayerOptions> options;
    for( const LayerInfo& layer : scene.layers ) {
        options.push_back( layer.options );
    }
    return options;
}

int countPlacingPasses( const Scene& scene, std::size_t layer ) noexcept {
    return Resampling::countPasses( placeLayer( scene.layers[layer], scene ), scene.width,
                                    scene.height, makeMatte( scene, layer ).has_value() );
}

double getGlowSigma( const Scene& scene ) noexcept {
    return getGlowSigma( scene.glowRadius, scene.width );
}

} // namespace

std::size_t countWorkingTiles( const Scene& scene, int tileSide, int threads ) noexcept {
    const auto count = [&]( int width, int height ) {
        return countTiles( width, height, { tileSide, tileSide } );
    };
    const std::size_t frame = count( scene.width, scene.height );
    const std::size_t atWork = std::min( frame, static_cast<std::size_t>( threads ) );
    std::size_t done = 0;
    std::size_t most = 0;
    for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
        const LayerInfo& layer = scene.layers[i];
        const std::size_t source = count( layer.width, layer.height );
        if( countPlacingPasses( scene, i ) == 2 ) {
            // The sharp, the soft and the dark ones.
            const std::size_t widened = 3 * count( scene.width, layer.height );
            most = std::max( most, done + widened + std::max( source, frame ) );
        } else {
            most = std::max( most, done + source + frame );
        }
        done += frame;
    }
    most = std::max( most, done + atWork ); // each composite tile replaces those of the layers
    const std::size_t glow =
        scene.glow > 0.0
            ? count( countGlowColumns( getGlowSigma( scene ), scene.width ), scene.height )
            : 0;
    return std::max( most, frame + 2 * glow );
}

std::vector<double> getPhaseWeights( const Scene& scene, int threads ) {
    // Nanoseconds a pixel, or a pixel and one that it is made of, as measured on one machine.
    constexpr double READING = 60.0;
    constexpr double PLACING = 6.0;
    constexpr double RESAMPLING_ACROSS = 15.0;
    constexpr double RESAMPLING_DOWN = 5.5;
    constexpr double BICUBIC_TAPS = 4.0;
    constexpr double COMPOSITING = 6.0;
    constexpr std::array<double, GLOW_PASSES> GLOW{ 46.0, 23.0, 24.0 };
    const double width = scene.width;
    const double frame = width * scene.height / threads;
    std::vector<double> weights;
    for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
        const LayerInfo& layer = scene.layers[i];
        weights.push_back( READING * layer.width * layer.height );
        const int passes = countPlacingPasses( scene, i );
        if( passes == 1 ) {
            weights.push_back( PLACING * frame );
        } else if( passes == 2 ) {
            const Placement placement = placeLayer( layer, scene );
            const auto countTaps = [&]( const AxisPlacement& axis ) {
                return BICUBIC_TAPS * std::max( 1.0, 1.0 / axis.scale );
            };
            weights.push_back( RESAMPLING_ACROSS * countTaps( placement.x ) * width * layer.height /
                               threads );
            weights.push_back( RESAMPLING_DOWN * countTaps( placement.y ) * frame );
        }
    }
    weights.push_back( COMPOSITING * frame * static_cast<double>( scene.layers.size() ) );
    for( const double pass : GLOW ) {
        if( scene.glow > 0.0 ) {
            weights.push_back( pass * frame );
        }
    }
    return weights;
}

std::unique_ptr<TilePlane> renderScene( const Scene& scene, TileStore& store, PassRunner& runner ) {
    std::unique_ptr<TilePlane> picture;
    {
        std::vector<std::unique_ptr<TilePlane>> layers;
        for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
            layers.push_back( renderLayer( scene, i, store, runner ) );
        }
        picture = compositeLayers( runner, store, layers, getLayerOptions( scene ) );
    }
    if( scene.glow > 0.0 ) {
        addGlow( runner, store, *picture, scene.glow, getGlowSigma( scene ) );
    }
    return picture;
}

} // namespace Qv::Comp
