#include <tools/qvcomp/dither.h>

#include <resmgt/random/rnNiederreiterMultiRng.h>

namespace Qv::Comp {

namespace {

constexpr int NB_CELLS = Dither::SIDE * Dither::SIDE;

/// The dimensions across and down of red, green and blue. The six bits that choose a column or a
/// row are a multiple of the degree of each dimension's polynomial, 1, 1, 2 and 3: of any two
/// dimensions 4096 points from a multiple of 4096 hit each cell once. With these pairs small areas
/// are the most even, and colours have nothing to do with each other.
constexpr std::size_t DIMENSIONS[Dither::NB_COLOURS][2] = { { 0, 1 }, { 0, 2 }, { 1, 2 } };

} // namespace

Dither::Dither( Dithering dithering ) {
    if( dithering == Dithering::NONE ) {
        _thresholds->fill( 0.5F );
        return;
    }
    RnNiederreiterMultiRng<double> sequence;
    for( int order = 0; order < NB_CELLS; ++order ) {
        double point[4];
        sequence.getSample( point );
        for( int colour = 0; colour < NB_COLOURS; ++colour ) {
            const auto& dimensions = DIMENSIONS[colour];
            const auto x = static_cast<int>( point[dimensions[0]] * SIDE );
            const auto y = static_cast<int>( point[dimensions[1]] * SIDE );
            ( *_thresholds )[getIndex( x, y, colour )] =
                ( static_cast<float>( order ) + 0.5F ) / static_cast<float>( NB_CELLS );
        }
    }
}

} // namespace Qv::Comp
