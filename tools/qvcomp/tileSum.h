#pragma once

#include <tools/qvcomp/pixelMath.h>

#include <vector>

namespace Qv::Comp {

/// The tiles of row `row` of `source` that hold the pixel columns `first` to `last`, left to right.
std::vector<TileRef> listRowInputs( TilePlane& source, int row, int first, int last );

/// The tiles of column `column` of `source` that hold the pixel rows `first` to `last`, downwards.
std::vector<TileRef> listColumnInputs( TilePlane& source, int column, int first, int last );

/// Writes one tile of `target`: zeros, then `add( tile, input )` for each input in order, then
/// `complete( tile )`. Has access to one input at a time, and to none during `complete`.
template <class Add, class Complete>
void sumTile( TilePlane& target, TilePos pos, const std::vector<TileRef>& inputs, const Add& add,
              const Complete& complete ) {
    {
        const TileWriter tile = target.write( pos );
        clear( tile );
        for( const TileRef& input : inputs ) {
            add( tile, input.plane->read( input.pos ) );
        }
        complete( tile );
    }
    target.finish( pos );
}

} // namespace Qv::Comp
