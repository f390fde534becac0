#include <tools/qvcomp/tileSum.h>

namespace Qv::Comp {

namespace {

/// Those between two tiles, both included.
std::vector<TileRef> listInputs( TilePlane& source, TilePos first, TilePos last ) {
    std::vector<TileRef> inputs;
    for( int row = first.row; row <= last.row; ++row ) {
        for( int column = first.column; column <= last.column; ++column ) {
            inputs.push_back( { &source, { column, row } } );
        }
    }
    return inputs;
}

} // namespace

std::vector<TileRef> listRowInputs( TilePlane& source, int row, int first, int last ) {
    const int width = source.getTile().width;
    return first > last ? std::vector<TileRef>()
                        : listInputs( source, { first / width, row }, { last / width, row } );
}

std::vector<TileRef> listAreaInputs( TilePlane& source, const PixelArea& area ) {
    const int x1 = std::min( area.x1, source.getWidth() );
    const int y1 = std::min( area.y1, source.getHeight() );
    const int x0 = std::max( area.x0, 0 );
    const int y0 = std::max( area.y0, 0 );
    return x0 >= x1 || y0 >= y1
               ? std::vector<TileRef>()
               : listInputs( source, source.getPos( x0, y0 ), source.getPos( x1 - 1, y1 - 1 ) );
}

} // namespace Qv::Comp
