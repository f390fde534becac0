#include <tools/qvcomp/matte.h>
#include <tools/qvcomp/pixelMath.h>

namespace Qv::Comp {

namespace {

/// How far an edge leans over the frame's height, as a part of the frame's width.
constexpr float LEAN = 0.12F;
/// Half the width of a soft edge, as a part of a layer's stripe.
constexpr float FEATHER = 0.3F;
/// The fade at the border begins and ends at these distances from the centre, where 1 is the
/// border: in fourth powers, which makes the shape a rounded rectangle.
constexpr float FADE_BEGIN = 0.75F;
constexpr float FADE_END = 1.9F;

} // namespace

Matte::Matte( int layer, int layers, int width, int height )
    : _isBottom( layer == 0 )
    , _edge( static_cast<float>( layer ) / static_cast<float>( layers ) )
    , _feather( FEATHER / static_cast<float>( layers ) )
    , _width( static_cast<float>( width ) )
    , _height( static_cast<float>( height ) ) {}

float Matte::at( int x, int y ) const noexcept {
    const float u = ( static_cast<float>( x ) + 0.5F ) / _width;
    const float v = ( static_cast<float>( y ) + 0.5F ) / _height;
    if( _isBottom ) {
        return getVignette( 2.0F * u - 1.0F, 2.0F * v - 1.0F );
    }
    const float edge = _edge + LEAN * ( 0.5F - v );
    return smoothStep( edge - _feather, edge + _feather, u );
}

float Matte::getVignette( float x, float y ) const noexcept {
    const float distance = x * x * x * x + y * y * y * y;
    return 1.0F - smoothStep( FADE_BEGIN, FADE_END, distance );
}

} // namespace Qv::Comp
