#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/tileSum.h>

#include <cmath>

namespace Qv::Comp {

namespace {

/// Light above this glows.
constexpr float THRESHOLD = 1.0F;
/// Light beyond this glows no more than this: a sun of some thousands would flood the frame.
constexpr float CEILING = 12.0F;
/// The part of the bright light that the glow adds.
constexpr float STRENGTH = 0.35F;
/// The glow's standard deviation as a part of the frame's width.
constexpr double RELATIVE_SIGMA = 0.02;

/// Of each pixel the light above the threshold, with its colour; no alpha.
void extractBright( float* bright, const float* pixel, int count ) noexcept {
    for( int i = 0; i < count; ++i, bright += CHANNELS, pixel += CHANNELS ) {
        const float light = getLuminance( pixel );
        const float excess = std::min( light, CEILING ) - THRESHOLD;
        const float factor = excess > 0.0F ? excess / light : 0.0F;
        for( int c = 0; c < 3; ++c ) {
            bright[c] = pixel[c] * factor;
        }
        bright[3] = 0.0F;
    }
}

/// A blur along one axis with `weights` of an odd count.
class Blur {
public:
    explicit Blur( const std::vector<float>& weights )
        : _weights( weights )
        , _radius( static_cast<int>( weights.size() / 2 ) ) {}

    int getRadius() const noexcept { return _radius; }

    /// Adds what the bright parts of the lines of `from` contribute to `to`.
    void addLines( const TileWriter& to, const TileReader& from ) const {
        const PixelArea& target = to.getArea();
        const PixelArea& source = from.getArea();
        std::vector<float> bright( toFloats( source.getWidth() ) );
        for( int y = target.y0; y < target.y1; ++y ) {
            extractBright( bright.data(), from.at( source.x0, y ), source.getWidth() );
            for( int k = -_radius; k <= _radius; ++k ) {
                const int begin = std::max( target.x0, source.x0 - k );
                const int end = std::min( target.x1, source.x1 - k );
                if( begin < end ) {
                    addWeighted( to.at( begin, y ), &bright[toFloats( begin + k - source.x0 )],
                                 getWeight( k ), toFloats( end - begin ) );
                }
            }
        }
    }

    /// Adds what the columns of `from` contribute to `to`.
    void addColumns( const TileWriter& to, const TileReader& from ) const {
        const PixelArea& target = to.getArea();
        const PixelArea& source = from.getArea();
        for( int y = target.y0; y < target.y1; ++y ) {
            const int end = std::min( y + _radius + 1, source.y1 );
            for( int k = std::max( y - _radius, source.y0 ); k < end; ++k ) {
                addWeighted( to.at( target.x0, y ), from.at( target.x0, k ), getWeight( k - y ),
                             toFloats( target.getWidth() ) );
            }
        }
    }

private:
    float getWeight( int k ) const noexcept {
        return _weights[static_cast<std::size_t>( k + _radius )];
    }

    const std::vector<float>& _weights;
    int _radius;
};

/// Turns the blurred light of `glow` into the picture with its glow.
void addToPicture( const TileWriter& glow, const TileReader& picture ) noexcept {
    const PixelArea& area = glow.getArea();
    for( int y = area.y0; y < area.y1; ++y ) {
        float* light = glow.at( area.x0, y );
        const float* base = picture.at( area.x0, y );
        for( std::size_t i = 0; i < toFloats( area.getWidth() ); ++i ) {
            light[i] = base[i] + STRENGTH * light[i];
        }
    }
}

} // namespace

std::vector<float> makeGaussian( double sigma ) {
    const int radius = static_cast<int>( std::ceil( 3.0 * sigma ) );
    std::vector<double> exact;
    double sum = 0.0;
    for( int k = -radius; k <= radius; ++k ) {
        exact.push_back( std::exp( -0.5 * k * k / ( sigma * sigma ) ) );
        sum += exact.back();
    }
    std::vector<float> weights;
    for( const double weight : exact ) {
        weights.push_back( static_cast<float>( weight / sum ) );
    }
    return weights;
}

double getGlowSigma( int frameWidth ) noexcept {
    return std::max( 1.0, RELATIVE_SIGMA * frameWidth );
}

std::unique_ptr<TilePlane> addGlow( PassRunner& runner, TileStore& store, TilePlane& picture ) {
    const int width = picture.getWidth();
    const int height = picture.getHeight();
    const std::vector<float> weights = makeGaussian( getGlowSigma( width ) );
    const Blur blur( weights );
    auto across = store.createPlane( "glow across", width, height );
    auto result = store.createPlane( "picture", width, height );

    const auto getLineInputs = [&]( TilePos pos ) {
        const PixelArea area = picture.getArea( pos );
        return listRowInputs( picture, pos.row, std::max( area.x0 - blur.getRadius(), 0 ),
                              std::min( area.x1 + blur.getRadius(), width ) - 1 );
    };
    runner.run( { "Glow across", orderByRows( *across ), getLineInputs, [&]( TilePos pos ) {
                     sumTile(
                         *across, pos, getLineInputs( pos ),
                         [&]( auto& to, const auto& from ) { blur.addLines( to, from ); },
                         []( auto& ) {} );
                 } } );

    const auto getColumnInputs = [&]( TilePos pos ) {
        const PixelArea area = picture.getArea( pos );
        return listColumnInputs( *across, pos.column, std::max( area.y0 - blur.getRadius(), 0 ),
                                 std::min( area.y1 + blur.getRadius(), height ) - 1 );
    };
    runner.run( { "Glow down", orderByColumns( *result ), getColumnInputs, [&]( TilePos pos ) {
                     sumTile(
                         *result, pos, getColumnInputs( pos ),
                         [&]( auto& to, const auto& from ) { blur.addColumns( to, from ); },
                         [&]( auto& to ) { addToPicture( to, picture.read( pos ) ); } );
                     picture.discard( pos );
                 } } );
    return result;
}

} // namespace Qv::Comp
