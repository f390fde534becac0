#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/tileSum.h>

#include <cmath>
#include <type_traits>

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
        // Dark on both sides, so that all pixels of a block can use the same neighbours.
        const int margin = BLOCK - 1;
        std::vector<float> bright( toFloats( source.getWidth() + 2 * margin ) );
        for( int y = target.y0; y < target.y1; ++y ) {
            extractBright( &bright[toFloats( margin )], from.at( source.x0, y ),
                           source.getWidth() );
            const auto addBlock = [&]( auto pixels, int x ) {
                const int begin = std::max( source.x0 - ( x + pixels - 1 ), -_radius );
                const int end = std::min( source.x1 - x, _radius + 1 );
                if( begin < end ) {
                    addLinesWeighted<toFloats( pixels )>(
                        to.at( x, y ), &bright[toFloats( x + begin - source.x0 + margin )],
                        CHANNELS, getWeights( begin, end ) );
                }
            };
            forEachBlock( target, addBlock );
        }
    }

    /// Adds what the columns of `from` contribute to `to`.
    void addColumns( const TileWriter& to, const TileReader& from ) const {
        const PixelArea& target = to.getArea();
        const PixelArea& source = from.getArea();
        for( int y = target.y0; y < target.y1; ++y ) {
            const int begin = std::max( y - _radius, source.y0 );
            const int end = std::min( y + _radius + 1, source.y1 );
            const auto addBlock = [&]( auto pixels, int x ) {
                if( begin < end ) {
                    addLinesWeighted<toFloats( pixels )>( to.at( x, y ), from.at( x, begin ),
                                                          from.getLineFloats(),
                                                          getWeights( begin - y, end - y ) );
                }
            };
            forEachBlock( target, addBlock );
        }
    }

private:
    /// Pixels whose sums fit into the registers of every processor.
    static constexpr int BLOCK = 8;

    /// Calls `addBlock( pixels, x )` for blocks that make up a line, the number of pixels as a
    /// constant.
    template <class AddBlock>
    static void forEachBlock( const PixelArea& area, const AddBlock& addBlock ) {
        int x = area.x0;
        for( ; x + BLOCK <= area.x1; x += BLOCK ) {
            addBlock( std::integral_constant<int, BLOCK>(), x );
        }
        for( ; x < area.x1; ++x ) {
            addBlock( std::integral_constant<int, 1>(), x );
        }
    }

    /// The weights of the distances from `begin` up to, not including, `end`.
    std::span<const float> getWeights( int begin, int end ) const noexcept {
        return std::span( _weights )
            .subspan( static_cast<std::size_t>( begin + _radius ),
                      static_cast<std::size_t>( end - begin ) );
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
