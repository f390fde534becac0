#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/planeCompare.h>
#include <tools/qvcomp/tilePass.h>

#include <cstring>

namespace Qv::Comp {

namespace {

void checkTile( const TileReader& tile, const TileReader& expected ) {
    const PixelArea& area = tile.getArea();
    const auto width = static_cast<std::size_t>( area.getWidth() );
    for( int y = area.y0; y < area.y1; ++y ) {
        if( std::memcmp( tile.at( area.x0, y ), expected.at( area.x0, y ),
                         width * CHANNELS * sizeof( float ) ) != 0 ) {
            throw Failure( "the picture differs from the one made in plain memory, in line " +
                           std::to_string( y ) + " from column " + std::to_string( area.x0 ) +
                           " on" );
        }
    }
}

} // namespace

void checkIdentical( TilePlane& picture, TilePlane& expected ) {
    for( const TilePos pos : orderByRows( picture ) ) {
        checkTile( picture.read( pos ), expected.read( pos ) );
    }
}

} // namespace Qv::Comp
