#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/tileSum.h>

namespace Qv::Comp {

namespace {

void layOver( const TileWriter& target, const TileReader& layer ) noexcept {
    const PixelArea& area = target.getArea();
    for( int y = area.y0; y < area.y1; ++y ) {
        float* below = target.at( area.x0, y );
        const float* above = layer.at( area.x0, y );
        for( int x = area.x0; x < area.x1; ++x, below += CHANNELS, above += CHANNELS ) {
            const float remainder = 1.0F - above[3];
            for( int c = 0; c < CHANNELS; ++c ) {
                below[c] = above[c] + remainder * below[c];
            }
        }
    }
}

} // namespace

std::unique_ptr<TilePlane>
compositeLayers( PassRunner& runner, TileStore& store,
                 const std::vector<std::unique_ptr<TilePlane>>& layers ) {
    auto result = store.createPlane( "composite", layers[0]->getWidth(), layers[0]->getHeight() );
    const auto getInputs = [&]( TilePos pos ) {
        std::vector<TileRef> inputs;
        for( const auto& layer : layers ) {
            inputs.push_back( { layer.get(), pos } );
        }
        return inputs;
    };
    runner.run( { "Compositing", orderByRows( *result ), getInputs, [&]( TilePos pos ) {
                     sumTile( *result, pos, getInputs( pos ), layOver, []( auto& ) {} );
                     for( const auto& layer : layers ) {
                         layer->discard( pos );
                     }
                 } } );
    return result;
}

} // namespace Qv::Comp
