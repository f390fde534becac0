#include <tools/qvcomp/tileSum.h>

namespace Qv::Comp {

std::vector<TileRef> listRowInputs( TilePlane& source, int row, int first, int last ) {
    std::vector<TileRef> inputs;
    const int side = source.getTileSide();
    for( int column = first / side; column <= last / side; ++column ) {
        inputs.push_back( { &source, { column, row } } );
    }
    return inputs;
}

std::vector<TileRef> listColumnInputs( TilePlane& source, int column, int first, int last ) {
    std::vector<TileRef> inputs;
    const int side = source.getTileSide();
    for( int row = first / side; row <= last / side; ++row ) {
        inputs.push_back( { &source, { column, row } } );
    }
    return inputs;
}

} // namespace Qv::Comp
