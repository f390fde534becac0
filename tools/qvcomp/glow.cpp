#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/tileSum.h>

#include <cmath>

namespace Qv::Comp {

namespace {

/// Light above this glows.
constexpr float THRESHOLD = 1.0F;
/// Light beyond this glows no more than this: a sun of some thousands would flood the frame.
constexpr float CEILING = 12.0F;
/// Columns are so far apart at most, in standard deviations: the splines' deviation from a
/// Gaussian, of which the fourth cumulant is the largest part, grows with the fourth power of that.
/// This makes it 2e-4 of the peak.
constexpr double LARGEST_STEP = 1.0 / 2.5;
/// A Gaussian is cut off so many standard deviations from its middle, where it has 3e-4 of its
/// peak.
constexpr double REACH = 4.0;

/// Of a pixel the light above the threshold, with its colour; no alpha. Whether there is any.
bool extractBright( float* bright, const float* pixel ) noexcept {
    const float light = getLuminance( pixel );
    if( !( light > THRESHOLD ) ) {
        std::fill_n( bright, CHANNELS, 0.0F );
        return false;
    }
    const float factor = ( std::min( light, CEILING ) - THRESHOLD ) / light;
    for( int c = 0; c < 3; ++c ) {
        bright[c] = std::max( pixel[c], 0.0F ) * factor;
    }
    bright[3] = 0.0F;
    return true;
}

/// Places that are evenly apart, by an odd number of positions, and as symmetrical to a line as its
/// positions are. All positions, if they are one apart; otherwise between any position and an end
/// there is another place.
struct Lattice {
    Lattice( double sigma, int lineSize )
        : step( std::max( ( static_cast<int>( sigma * LARGEST_STEP ) - 1 ) / 2 * 2 + 1, 1 ) )
        , count( lineSize )
        , first( 0 ) {
        if( step > 1 ) {
            const int last = lineSize - 1;
            const int steps = ( last + 2 * step ) / step + 1;
            count = 1 + steps + ( steps + last ) % 2;
            first = ( last - ( count - 1 ) * step ) / 2;
        }
    }

    int step;
    int count;
    int first;
};

/// A Gaussian's weights for the positions of a line, at the places of a lattice.
class GaussianTaps {
public:
    GaussianTaps( const Lattice& lattice, double variance, int lineSize )
        : _lattice( lattice )
        , _lineSize( lineSize ) {
        const int radius = static_cast<int>( std::ceil( REACH * std::sqrt( variance ) ) );
        std::vector<double> exact;
        double sum = 0.0;
        for( int k = -radius; k <= radius; ++k ) {
            exact.push_back( std::exp( -0.5 * k * k / variance ) );
            sum += exact.back();
        }
        for( const double weight : exact ) {
            _weights.push_back( static_cast<float>( weight / sum ) );
        }
    }

    Taps at( int place ) const noexcept {
        const int first =
            _lattice.first + place * _lattice.step - static_cast<int>( _weights.size() / 2 );
        return Taps{ first, _weights }.within( 0, _lineSize );
    }

private:
    Lattice _lattice;
    int _lineSize;
    std::vector<float> _weights;
};

/// The weights of cubic B-splines at the places of a lattice for the positions between them, each
/// times a factor.
class SplineTaps {
public:
    SplineTaps( const Lattice& lattice, double factor )
        : _lattice( lattice ) {
        for( int phase = 0; phase < lattice.step; ++phase ) {
            const double t = static_cast<double>( phase ) / lattice.step;
            const double u = 1.0 - t;
            for( const double spline : { u * u * u, 4.0 - 6.0 * t * t + 3.0 * t * t * t,
                                         4.0 - 6.0 * u * u + 3.0 * u * u * u, t * t * t } ) {
                _weights.push_back( static_cast<float>( factor * spline / 6.0 ) );
            }
        }
        _factor = static_cast<float>( factor );
    }

    Taps at( int position ) const noexcept {
        if( _lattice.step == 1 ) {
            return { position, { &_factor, 1 } };
        }
        const int distance = position - _lattice.first;
        const int phase = distance % _lattice.step;
        return { distance / _lattice.step - 1,
                 std::span( _weights ).subspan( static_cast<std::size_t>( phase ) * 4, 4 ) };
    }

private:
    Lattice _lattice;
    std::vector<float> _weights;
    float _factor;
};

/// Of cubic B-splines, in positions squared.
double getSplineVariance( const Lattice& lattice ) noexcept {
    return lattice.step == 1 ? 0.0 : lattice.step * static_cast<double>( lattice.step ) / 3.0;
}

/// Makes the plane in which the light is spread across, at the places of the lattice.
std::unique_ptr<TilePlane> spreadAcross( PassRunner& runner, TileStore& store, TilePlane& picture,
                                         const Lattice& lattice, double sigma ) {
    const GaussianTaps filter( lattice, sigma * sigma - getSplineVariance( lattice ),
                               picture.getWidth() );
    auto result =
        store.createPlane( "glow across", lattice.count, picture.getHeight(), TileShape::SQUARE );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result->getArea( pos );
        return listRowInputs( picture, pos.row, filter.at( area.x0 ).first,
                              filter.at( area.x1 - 1 ).getEnd() - 1 );
    };
    const auto add = [&]( auto& to, const auto& from ) {
        addAcross( to, from, filter, extractBright );
    };
    runner.run( { "Glow across", orderByRows( *result ), getInputs, [&]( TilePos pos ) {
                     sumTile( *result, pos, getInputs( pos ), add, []( auto& ) {} );
                 } } );
    return result;
}

std::unique_ptr<TilePlane> spreadDown( PassRunner& runner, TileStore& store, TilePlane& across,
                                       double sigma ) {
    const int height = across.getHeight();
    const GaussianTaps filter( Lattice( 1.0, height ), sigma * sigma, height );
    auto result = store.createPlane( "glow", across.getWidth(), height, TileShape::SQUARE );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result->getArea( pos );
        return listColumnInputs( across, pos.column, filter.at( area.y0 ).first,
                                 filter.at( area.y1 - 1 ).getEnd() - 1 );
    };
    const auto add = [&]( auto& to, const auto& from ) { addDown( to, from, filter ); };
    runner.run( { "Glow down", orderByColumns( *result ), getInputs, [&]( TilePos pos ) {
                     sumTile( *result, pos, getInputs( pos ), add, []( auto& ) {} );
                 } } );
    return result;
}

void addLight( PassRunner& runner, TilePlane& picture, TilePlane& light, const Lattice& lattice,
               double strength ) {
    const SplineTaps filter( lattice, strength );
    const auto getLightInputs = [&]( TilePos pos ) {
        const PixelArea area = picture.getArea( pos );
        return listRowInputs( light, pos.row, filter.at( area.x0 ).first,
                              filter.at( area.x1 - 1 ).getEnd() - 1 );
    };
    const auto getInputs = [&]( TilePos pos ) {
        std::vector<TileRef> inputs = getLightInputs( pos );
        inputs.insert( inputs.begin(), { &picture, pos } );
        return inputs;
    };
    const auto keep = []( float* to, const float* from ) noexcept {
        std::copy_n( from, CHANNELS, to );
        return true;
    };
    runner.run( { "Glow", orderByRows( picture ), getInputs, [&]( TilePos pos ) {
                     {
                         const TileWriter tile = picture.write( pos );
                         for( const TileRef& input : getLightInputs( pos ) ) {
                             addAcross( tile, light.read( input.pos ), filter, keep );
                         }
                     }
                     picture.finish( pos );
                 } } );
}

} // namespace

double getGlowSigma( const GlowRadius& radius, int frameWidth ) noexcept {
    constexpr double LEAST_PART = 1.0;
    return radius.isPercentage ? std::max( LEAST_PART, radius.value / 100.0 * frameWidth )
                               : radius.value;
}

int countGlowColumns( double sigma, int frameWidth ) noexcept {
    return Lattice( sigma, frameWidth ).count;
}

void addGlow( PassRunner& runner, TileStore& store, TilePlane& picture, double strength,
              double sigma ) {
    const Lattice lattice( sigma, picture.getWidth() );
    auto across = spreadAcross( runner, store, picture, lattice, sigma );
    const auto light = spreadDown( runner, store, *across, sigma );
    across.reset();
    addLight( runner, picture, *light, lattice, strength );
}

} // namespace Qv::Comp
