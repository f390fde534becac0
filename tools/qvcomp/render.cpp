#include <tools/qvcomp/render.h>

#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/resample.h>

namespace Qv::Comp {

namespace {

std::optional<Matte> makeMatte( const Scene& scene, std::size_t layer ) {
    if( scene.layers[layer].hasAlpha ) {
        return std::nullopt;
    }
    return Matte( static_cast<int>( layer ), static_cast<int>( scene.layers.size() ), scene.width,
                  scene.height );
}

std::unique_ptr<TilePlane> renderLayer( const Scene& scene, std::size_t layer, TileStore& store,
                                        PassRunner& runner ) {
    const LayerInfo& info = scene.layers[layer];
    const auto source = readLayer( info, store, runner.getPasses() );
    return Resampling( runner, store, makeMatte( scene, layer ) )
        .run( *source, info.path.getBaseName( OsFilePath::WITH_EXTENSION ).toString(), scene.width,
              scene.height );
}

} // namespace

std::size_t countWorkingTiles( const Scene& scene, int tileSide, int threads ) noexcept {
    const std::size_t frame = countTiles( scene.width, scene.height, tileSide );
    const std::size_t atWork = std::min( frame, static_cast<std::size_t>( threads ) );
    std::size_t done = 0;
    std::size_t most = 2 * frame + atWork; // the glow: each picture's tile replaces one
    for( const LayerInfo& layer : scene.layers ) {
        const std::size_t source = countTiles( layer.width, layer.height, tileSide );
        const std::size_t widened = countTiles( scene.width, layer.height, tileSide );
        most = std::max( most, done + source + widened + frame );
        done += frame;
    }
    return std::max( most, done + atWork ); // each composite tile replaces those of the layers
}

std::vector<double> getPhaseWeights( const Scene& scene, int threads ) {
    // Nanoseconds a pixel, or a pixel and one that it is made of, as measured on one machine.
    constexpr double READING = 130.0;
    constexpr double RESAMPLING = 40.0;
    constexpr double BICUBIC_TAPS = 4.0;
    constexpr double COMPOSITING = 20.0;
    constexpr double BLURRING = 3.5;
    const double width = scene.width;
    const double frame = width * scene.height / threads;
    std::vector<double> weights;
    for( const LayerInfo& layer : scene.layers ) {
        const double scale = getCoverScale( layer.width, layer.height, scene.width, scene.height );
        const double resampling = RESAMPLING * BICUBIC_TAPS * std::max( 1.0, 1.0 / scale );
        weights.push_back( READING * layer.width * layer.height );
        weights.push_back( resampling * width * layer.height / threads );
        weights.push_back( resampling * frame );
    }
    weights.push_back( COMPOSITING * frame * static_cast<double>( scene.layers.size() ) );
    const auto neighbours =
        static_cast<double>( makeGaussian( getGlowSigma( scene.width ) ).size() );
    weights.insert( weights.end(), 2, BLURRING * neighbours * frame );
    return weights;
}

std::unique_ptr<TilePlane> renderScene( const Scene& scene, TileStore& store, PassRunner& runner ) {
    std::unique_ptr<TilePlane> composite;
    {
        std::vector<std::unique_ptr<TilePlane>> layers;
        for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
            layers.push_back( renderLayer( scene, i, store, runner ) );
        }
        composite = compositeLayers( runner, store, layers );
    }
    return addGlow( runner, store, *composite );
}

} // namespace Qv::Comp
