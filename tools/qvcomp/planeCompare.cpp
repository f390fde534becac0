#include <tools/qvcomp/planeCompare.h>

#include <tools/qvcomp/failure.h>
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
            throw Failure( Tag::DIFFERS, y, area.x0 );
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
