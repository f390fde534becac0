#include <tools/qvcomp/resample.h>

#include <tools/qvcomp/filterTaps.h>
#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/tileSum.h>

namespace Qv::Comp {

namespace {

/// Which of the filter's weights are at work: those above zero come first.
enum class Lobe { POSITIVE, NEGATIVE };

/// Beside a lamp or the sun a negative weight would make a black ring. Under one, a neighbour
/// therefore counts as at most so many times as bright as the pixel is from its positive weights.
constexpr float RING_LIMIT = 2.0F;

/// Adds to each of `count` floats its neighbour in `source`, weighted.
void addNeighbours( float* __restrict target, const float* __restrict source, float weight,
                    std::size_t count ) noexcept {
    if( weight >= 0.0F ) {
        addWeighted( target, source, weight, count );
        return;
    }
    for( std::size_t i = 0; i < count; ++i ) {
        target[i] += weight * std::min( source[i], RING_LIMIT * target[i] );
    }
}

bool belongsTo( float weight, Lobe lobe ) noexcept {
    return ( weight < 0.0F ) == ( lobe == Lobe::NEGATIVE );
}

/// Adds to `target` what the lines of `source` contribute to its pixels.
void addLines( const TileWriter& target, const TileReader& source, const FilterTaps& filter,
               Lobe lobe ) noexcept {
    const PixelArea& to = target.getArea();
    const PixelArea& from = source.getArea();
    for( int x = to.x0; x < to.x1; ++x ) {
        const Taps taps = filter.at( x );
        const int end = std::min( taps.getEnd(), from.x1 );
        for( int k = std::max( taps.first, from.x0 ); k < end; ++k ) {
            const float weight = taps.at( k );
            for( int y = to.y0; belongsTo( weight, lobe ) && y < to.y1; ++y ) {
                addNeighbours( target.at( x, y ), source.at( k, y ), weight, CHANNELS );
            }
        }
    }
}

/// Adds to `target` what the columns of `source` contribute to its pixels.
void addColumns( const TileWriter& target, const TileReader& source, const FilterTaps& filter,
                 Lobe lobe ) noexcept {
    const PixelArea& to = target.getArea();
    const PixelArea& from = source.getArea();
    for( int y = to.y0; y < to.y1; ++y ) {
        const Taps taps = filter.at( y );
        const int end = std::min( taps.getEnd(), from.y1 );
        for( int k = std::max( taps.first, from.y0 ); k < end; ++k ) {
            if( belongsTo( taps.at( k ), lobe ) ) {
                addNeighbours( target.at( to.x0, y ), source.at( to.x0, k ), taps.at( k ),
                               toFloats( to.getWidth() ) );
            }
        }
    }
}

/// The bicubic filter overshoots at hard edges: light below zero and alpha outside of 0 to 1 are
/// cut off. Then comes the matte.
void finishPixels( const TileWriter& tile, const std::optional<Matte>& matte ) {
    const PixelArea& area = tile.getArea();
    for( int y = area.y0; y < area.y1; ++y ) {
        float* pixel = tile.at( area.x0, y );
        for( int x = area.x0; x < area.x1; ++x, pixel += CHANNELS ) {
            const float factor = matte ? matte->at( x, y ) : 1.0F;
            for( int c = 0; c < 3; ++c ) {
                pixel[c] = std::max( pixel[c], 0.0F ) * factor;
            }
            pixel[3] = std::clamp( pixel[3], 0.0F, 1.0F ) * factor;
        }
    }
}

/// Makes one tile of `target`: `add( tile, input, lobe )` for all inputs under the positive
/// weights, then for all under the negative ones.
template <class Add, class Complete>
void resampleTile( TilePlane& target, TilePos pos, const std::vector<TileRef>& inputs,
                   const Add& add, const Complete& complete ) {
    sumTile(
        target, pos, inputs,
        [&]( auto& tile, const auto& input ) { add( tile, input, Lobe::POSITIVE ); },
        [&]( auto& tile ) {
            for( const TileRef& input : inputs ) {
                add( tile, input.plane->read( input.pos ), Lobe::NEGATIVE );
            }
            complete( tile );
        } );
}

} // namespace

Resampling::Resampling( PassRunner& runner, TileStore& store, std::optional<Matte> matte )
    : _runner( runner )
    , _store( store )
    , _matte( matte ) {}

std::unique_ptr<TilePlane> Resampling::run( TilePlane& source, const std::string& name, int width,
                                            int height ) {
    const double scale = getCoverScale( source.getWidth(), source.getHeight(), width, height );
    const auto widened = runAcross( source, name, FilterTaps( source.getWidth(), width, scale ) );
    return runDown( *widened, name, FilterTaps( source.getHeight(), height, scale ) );
}

std::unique_ptr<TilePlane> Resampling::runAcross( TilePlane& source, const std::string& name,
                                                  const FilterTaps& filter ) {
    auto result = _store.createPlane( name + " widened", filter.getSize(), source.getHeight() );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result->getArea( pos );
        return listRowInputs( source, pos.row, filter.at( area.x0 ).first,
                              filter.at( area.x1 - 1 ).getEnd() - 1 );
    };
    const auto add = [&]( auto& to, const auto& from, Lobe lobe ) {
        addLines( to, from, filter, lobe );
    };
    _runner.run(
        { "Resampling " + name + " across", orderByRows( *result ), getInputs, [&]( TilePos pos ) {
             resampleTile( *result, pos, getInputs( pos ), add, []( auto& ) {} );
         } } );
    return result;
}

std::unique_ptr<TilePlane> Resampling::runDown( TilePlane& source, const std::string& name,
                                                const FilterTaps& filter ) {
    auto result = _store.createPlane( name, source.getWidth(), filter.getSize() );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result->getArea( pos );
        return listColumnInputs( source, pos.column, filter.at( area.y0 ).first,
                                 filter.at( area.y1 - 1 ).getEnd() - 1 );
    };
    const auto add = [&]( auto& to, const auto& from, Lobe lobe ) {
        addColumns( to, from, filter, lobe );
    };
    _runner.run(
        { "Resampling " + name + " down", orderByColumns( *result ), getInputs, [&]( TilePos pos ) {
             resampleTile( *result, pos, getInputs( pos ), add,
                           [&]( auto& tile ) { finishPixels( tile, _matte ); } );
         } } );
    return result;
}

double getCoverScale( int sourceWidth, int sourceHeight, int width, int height ) noexcept {
    return std::max( static_cast<double>( width ) / sourceWidth,
                     static_cast<double>( height ) / sourceHeight );
}

} // namespace Qv::Comp
