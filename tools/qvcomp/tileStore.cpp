#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

namespace {

int divideUp( int value, int divisor ) noexcept {
    return ( value + divisor - 1 ) / divisor;
}

} // namespace

TilePlane::TilePlane( int width, int height, int tileSide )
    : _width( width )
    , _height( height )
    , _tileSide( tileSide )
    , _columns( divideUp( width, tileSide ) )
    , _rows( divideUp( height, tileSide ) ) {}

std::size_t TilePlane::getTileCount() const noexcept {
    return static_cast<std::size_t>( _columns ) * static_cast<std::size_t>( _rows );
}

PixelArea TilePlane::getArea( TilePos pos ) const noexcept {
    const int x = pos.column * _tileSide;
    const int y = pos.row * _tileSide;
    return { x, y, std::min( x + _tileSide, _width ), std::min( y + _tileSide, _height ) };
}

std::size_t TilePlane::toIndex( TilePos pos ) const noexcept {
    return static_cast<std::size_t>( pos.row ) * static_cast<std::size_t>( _columns ) +
           static_cast<std::size_t>( pos.column );
}

std::size_t countTiles( int width, int height, int tileSide ) noexcept {
    return static_cast<std::size_t>( divideUp( width, tileSide ) ) *
           static_cast<std::size_t>( divideUp( height, tileSide ) );
}

} // namespace Qv::Comp
