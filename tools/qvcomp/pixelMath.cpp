#include <tools/qvcomp/pixelMath.h>

namespace Qv::Comp {

void clear( const TileWriter& tile ) noexcept {
    const PixelArea& area = tile.getArea();
    for( int y = area.y0; y < area.y1; ++y ) {
        std::fill_n( tile.at( area.x0, y ), toFloats( area.getWidth() ), 0.0F );
    }
}

void copyPixels( const TileWriter& target, const TileReader& source ) noexcept {
    const PixelArea area = intersect( target.getArea(), source.getArea() );
    for( int y = area.y0; y < area.y1; ++y ) {
        std::copy_n( source.at( area.x0, y ), toFloats( area.getWidth() ),
                     target.at( area.x0, y ) );
    }
}

float smoothStep( float from, float to, float value ) noexcept {
    const float t = std::clamp( ( value - from ) / ( to - from ), 0.0F, 1.0F );
    return t * t * ( 3.0F - 2.0F * t );
}

} // namespace Qv::Comp
