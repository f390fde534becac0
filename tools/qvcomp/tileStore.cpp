#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

namespace {

/// A band may be so many times as wide as a square of as many pixels.
constexpr int WIDEST_BAND = 8;

} // namespace

TilePlane::TilePlane( int width, int height, TileSize tile )
    : _width( width )
    , _height( height )
    , _tile( tile )
    , _columns( divideUp( width, tile.width ) )
    , _rows( divideUp( height, tile.height ) ) {}

std::size_t TilePlane::getTileCount() const noexcept {
    return static_cast<std::size_t>( _columns ) * static_cast<std::size_t>( _rows );
}

PixelArea TilePlane::getArea( TilePos pos ) const noexcept {
    const int x = pos.column * _tile.width;
    const int y = pos.row * _tile.height;
    return { x, y, std::min( x + _tile.width, _width ), std::min( y + _tile.height, _height ) };
}

std::size_t TilePlane::toIndex( TilePos pos ) const noexcept {
    return static_cast<std::size_t>( pos.row ) * static_cast<std::size_t>( _columns ) +
           static_cast<std::size_t>( pos.column );
}

TileSize getTileSize( int side, int planeWidth ) noexcept {
    const int columns = divideUp( planeWidth, WIDEST_BAND * side );
    const int width = divideUp( planeWidth, columns );
    return { width, side * side / width };
}

int getLeastHeight( int side ) noexcept {
    return side / WIDEST_BAND;
}

std::size_t countTiles( int width, int height, TileSize tile ) noexcept {
    return static_cast<std::size_t>( divideUp( width, tile.width ) ) *
           static_cast<std::size_t>( divideUp( height, tile.height ) );
}

} // namespace Qv::Comp
