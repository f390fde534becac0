#pragma once

#include <tools/qvcomp/filterTaps.h>
#include <tools/qvcomp/pixelMath.h>

#include <vector>

namespace Qv::Comp {

/// The tiles of row `row` of `source` that hold the pixel columns `first` to `last`, left to right;
/// none where the last comes before the first.
std::vector<TileRef> listRowInputs( TilePlane& source, int row, int first, int last );

/// The tiles of `source` that hold pixels of `area`, which may reach beyond it, row by row.
std::vector<TileRef> listAreaInputs( TilePlane& source, const PixelArea& area );

/// Some lines of a tile, converted and side by side, so that their sums don't wait for each other.
class GatheredLines {
public:
    static constexpr int LINES = 4;

    /// Columns `first` up to, not including, `end`, of the lines from `y` on, at most LINES of
    /// them.
    ///
    /// `convert( to, from )` makes of a source pixel the one that is added, and returns whether
    /// there is anything to add. Whether that is so for any pixel.
    template <class Convert>
    bool gather( const TileReader& source, int first, int end, int y, int lines,
                 const Convert& convert ) {
        _first = first;
        _end = end;
        _y = y;
        _lines = lines;
        _pixels.resize( static_cast<std::size_t>( end - first ) * FLOATS );
        bool isWanted = false;
        for( int line = 0; line < lines; ++line ) {
            const float* from = source.at( first, y + line );
            float* converted = &_pixels[toFloats( line )];
            for( int k = first; k < end; ++k, from += CHANNELS, converted += FLOATS ) {
                isWanted |= convert( converted, from );
            }
        }
        return isWanted;
    }

    /// Adds to each pixel of the same lines of `target` its neighbours, as far as they are there,
    /// with the weights of `filter.at( x )`.
    template <class Filter>
    void addTo( const TileWriter& target, const Filter& filter ) const {
        const PixelArea& to = target.getArea();
        for( int x = to.x0; x < to.x1; ++x ) {
            const Taps taps = filter.at( x ).within( _first, _end );
            std::array<float, FLOATS> sums{};
            for( int line = 0; line < _lines; ++line ) {
                std::copy_n( target.at( x, _y + line ), CHANNELS, &sums[toFloats( line )] );
            }
            addLinesWeighted<FLOATS>( sums.data(),
                                      _pixels.data() +
                                          static_cast<std::size_t>( taps.first - _first ) * FLOATS,
                                      FLOATS, taps.weights );
            for( int line = 0; line < _lines; ++line ) {
                std::copy_n( &sums[toFloats( line )], CHANNELS, target.at( x, _y + line ) );
            }
        }
    }

private:
    static constexpr std::size_t FLOATS = toFloats( LINES );

    int _first = 0;
    int _end = 0;
    int _y = 0;
    int _lines = 0;
    std::vector<float> _pixels;
};

/// Walks over what `source` has of the lines of `target` and of the neighbours that `filter.at( x
/// )` gives its pixels, whose places never go back from one `x` to the next: piece by piece, so
/// that little memory is taken, the pieces of a line in order. `use( lines )` is called for each
/// with the lines gathered by `convert`, if there is anything to add.
template <class Filter, class Convert, class Use>
void walkAcross( const TileWriter& target, const TileReader& source, const Filter& filter,
                 const Convert& convert, const Use& use ) {
    constexpr int COLUMNS = 2048;
    const PixelArea& to = target.getArea();
    const int first = std::max( filter.at( to.x0 ).first, source.getArea().x0 );
    const int end = std::min( filter.at( to.x1 - 1 ).getEnd(), source.getArea().x1 );
    GatheredLines lines;
    for( int y = to.y0; y < to.y1; y += GatheredLines::LINES ) {
        const int count = std::min( GatheredLines::LINES, to.y1 - y );
        for( int x = first; x < end; x += COLUMNS ) {
            if( lines.gather( source, x, std::min( x + COLUMNS, end ), y, count, convert ) ) {
                use( lines );
            }
        }
    }
}

/// Adds to each pixel of `target` its neighbours in the lines of `source`, as far as that tile
/// holds them, as walkAcross finds them.
template <class Filter, class Convert>
void addAcross( const TileWriter& target, const TileReader& source, const Filter& filter,
                const Convert& convert ) {
    walkAcross( target, source, filter, convert,
                [&]( const GatheredLines& lines ) { lines.addTo( target, filter ); } );
}

/// Adds to each pixel of `target` its neighbours in the columns of `source`, as far as that tile
/// holds them, with the weights of `filter.at( y )`.
template <class Filter>
void addDown( const TileWriter& target, const TileReader& source, const Filter& filter ) {
    // Pixels whose sums fit into the registers of every processor.
    constexpr int BLOCK = 8;
    const PixelArea& to = target.getArea();
    const PixelArea& from = source.getArea();
    for( int y = to.y0; y < to.y1; ++y ) {
        const Taps taps = filter.at( y ).within( from.y0, from.y1 );
        if( taps.weights.empty() ) {
            continue;
        }
        int x = to.x0;
        for( ; x + BLOCK <= to.x1; x += BLOCK ) {
            addLinesWeighted<toFloats( BLOCK )>( target.at( x, y ), source.at( x, taps.first ),
                                                 source.getLineFloats(), taps.weights );
        }
        for( ; x < to.x1; ++x ) {
            addLinesWeighted<CHANNELS>( target.at( x, y ), source.at( x, taps.first ),
                                        source.getLineFloats(), taps.weights );
        }
    }
}

} // namespace Qv::Comp
