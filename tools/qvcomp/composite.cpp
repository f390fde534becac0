#include <tools/qvcomp/composite.h>

#include <algorithm>

namespace Qv::Comp {

namespace {

/// Products of colours are kept within this, so that those of many layers stay numbers.
constexpr float MOST = 1e30F;

float limit( float colour ) noexcept {
    return std::clamp( colour, -MOST, MOST );
}

/// Joins the layer to the target by `mix( s, d, a, b )` for colours and `mixAlpha( a, b )`, as the
/// header names them.
template <class Mix, class MixAlpha>
void mixTile( const TileWriter& target, const TileReader& layer, float opacity, const Mix& mix,
              const MixAlpha& mixAlpha ) noexcept {
    const PixelArea& area = layer.getArea();
    for( int y = area.y0; y < area.y1; ++y ) {
        float* below = target.at( area.x0, y );
        const float* above = layer.at( area.x0, y );
        for( int x = area.x0; x < area.x1; ++x, below += CHANNELS, above += CHANNELS ) {
            const float alpha = opacity * above[3];
            for( int c = 0; c < 3; ++c ) {
                below[c] = mix( opacity * above[c], below[c], alpha, below[3] );
            }
            below[3] = mixAlpha( alpha, below[3] );
        }
    }
}

} // namespace

void joinPixels( const TileWriter& target, const TileReader& layer, const LayerOptions& options ) {
    const auto join = [&]( const auto& mix, const auto& mixAlpha ) {
        mixTile( target, layer, options.opacity, mix, mixAlpha );
    };
    const auto unite = []( float a, float b ) { return a + ( 1.0F - a ) * b; };
    switch( options.operation ) {
    case Operation::OVER:
        return join( []( float s, float d, float a, float ) { return s + ( 1.0F - a ) * d; },
                     unite );
    case Operation::PLUS:
        return join( []( float s, float d, float, float ) { return s + d; },
                     []( float a, float b ) { return std::min( a + b, 1.0F ); } );
    case Operation::MULTIPLY:
        return join( []( float s, float d, float a,
                         float b ) { return limit( s * d + ( 1.0F - b ) * s + ( 1.0F - a ) * d ); },
                     unite );
    case Operation::SCREEN:
        return join(
            []( float s, float d, float, float ) {
                const float greater = std::max( s, d );
                return greater > 1.0F ? greater : limit( s + d - s * d );
            },
            unite );
    }
}

void putPixels( const TileWriter& target, const TileReader& layer, float opacity ) noexcept {
    mixTile(
        target, layer, opacity, []( float s, float, float, float ) { return s; },
        []( float a, float ) { return a; } );
}

} // namespace Qv::Comp
