#include <tools/qvcomp/planeCompare.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/tileSum.h>

#include <cstring>

namespace Qv::Comp {

void checkIdentical( const TileReader& tile, const TileReader& expected ) {
    const PixelArea& area = tile.getArea();
    const auto width = static_cast<std::size_t>( area.getWidth() );
    for( int y = area.y0; y < area.y1; ++y ) {
        if( std::memcmp( tile.at( area.x0, y ), expected.at( area.x0, y ),
                         width * CHANNELS * sizeof( float ) ) != 0 ) {
            throw Failure( Tag::DIFFERS, y, area.x0 );
        }
    }
}

std::vector<Unit> PictureComparison::take( TilePlane& picture, int y0, int y1 ) {
    std::vector<Unit> units;
    const PixelArea lines{ 0, y0, picture.getWidth(), y1 };
    for( const TileRef& tile : listAreaInputs( picture, lines ) ) {
        units.push_back( { nullptr, [this, tile, lines] {
                              const PixelArea area =
                                  intersect( tile.plane->getArea( tile.pos ), lines );
                              checkIdentical( _kept.read( tile.pos ).within( area ),
                                              tile.plane->read( tile.pos ).within( area ) );
                          } } );
    }
    return units;
}

} // namespace Qv::Comp
