#include <resmgt/random/rnHistogramBiRng.h>
#include <resmgt/random/rnHistogramRng.h>
#include <resmgt/random/rnSeparableBiRng.h>
#include <resmgt/random/rnSphericalHistogram.h>
#include <resmgt/random/rnUniformHistogram.h>
#include <resmgt/random/test/rnTestBase.h>

#include <sstream>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

template <class T>
class RnHistogramsTest : public RnTestBase<T> {};

TYPED_TEST_SUITE( RnHistogramsTest, RnTypes );

TYPED_TEST( RnHistogramsTest, HistogramsFindTheBinOfEveryNumber ) {
    using T = TypeParam;
    const T edges[] = { -1, 0, 0.5, 4 };
    RnHistogram<T> uneven( 3, edges );
    RnUniformHistogram<T> even( 4, 0, 2 );
    const struct {
        double _x;
        int _uneven, _even;
    } cases[] = { { -2, -1, -4 },
                  { -1, 0, -2 },
                  { 0, 1, 0 },
                  { 0.49, 1, 0 },
                  { 0.5, 2, 1 },
                  { 3.9, 2, 7 },
                  { 4, 3, 8 },
                  { 1e30, 3, std::numeric_limits<int>::max() },
                  { -1e30, -1, std::numeric_limits<int>::min() },
                  { INF, 3, std::numeric_limits<int>::max() },
                  { -INF, -1, std::numeric_limits<int>::min() },
                  { NaN, -1, -1 } };
    for( const auto& one : cases ) {
        const auto x = static_cast<T>( one._x );
        EXPECT_EQ( uneven.find( x ), one._uneven ) << one._x;
        EXPECT_EQ( even.find( x ), one._even ) << one._x;
        EXPECT_EQ( uneven.add( x, 2 ), one._x >= -1 && one._x < 4 ) << one._x;
    }
    EXPECT_THAT( uneven.getWeights(), ElementsAre( 2, 4, 4 ) );
    // As wide as the type's range: products of bins and distances aren't in it.
    const T max = std::numeric_limits<T>::max();
    EXPECT_EQ( RnUniformHistogram<T>( 8, -max / 4, max / 4 ).find( max / 5 ), 7 );
    EXPECT_EQ( RnUniformHistogram<T>( 0, 0, 1 ).find( 0 ), -1 );
    EXPECT_EQ( RnHistogram<T>( 0, nullptr ).find( 0 ), -1 );
    EXPECT_FALSE( RnHistogram<T>( 0, nullptr ).add( 0 ) );

    // Beside each edge, where rounding gives a quotient of the next bin, or of none.
    for( const unsigned int nbBins : { 1u, 3u, 7u, 10u, 49u, 1000u } ) {
        RnUniformHistogram<T> narrow( nbBins, T( 0.1 ), T( 0.7 ) );
        const auto& limits = narrow.getEdges();
        for( std::size_t i = 0; i < nbBins; ++i ) {
            ASSERT_TRUE( narrow.add( limits[i] ) );
            ASSERT_TRUE( narrow.add( std::nextafter( limits[i + 1], T( 0 ) ) ) );
        }
        EXPECT_THAT( narrow.getWeights(), ::testing::Each( 2 ) );
        EXPECT_FALSE( narrow.add( limits.back() ) );
        EXPECT_FALSE( narrow.add( std::nextafter( limits.front(), T( 0 ) ) ) );
    }
    // A float's bin would stop growing at 2^24.
    even.addToBin( 0, 16777216 );
    even.add( 0 );
    EXPECT_EQ( even.getWeight( 0 ), 16777217 );
    even.clear();
    EXPECT_THAT( even.getWeights(), ::testing::Each( 0 ) );
}

TYPED_TEST( RnHistogramsTest, SamplesOfAHistogramFollowItsWeights ) {
    using T = TypeParam;
    const T edges[] = { 0, 1, 2, 4, 5, 6 };
    RnHistogram<T> histogram( 5, edges );
    histogram.addToBin( 1, 1 );
    histogram.addToBin( 2, 2 );
    histogram.addToBin( 3, 1 );
    Script<T> source( { -1, 0, 0.125, 0.25, 0.5, 0.75, 0.875, 1 - this->EPSILON / 2, 1, 2, NaN } );
    RnHistogramRng<T> rng( histogram, &source );
    histogram.addToBin( 0, 100 );
    std::vector<T> values = this->take( rng, 11 );
    EXPECT_TRUE( std::isnan( values.back() ) );
    values.pop_back();
    EXPECT_THAT( values, ElementsAre( T( 1 ), T( 1 ), T( 1.5 ), T( 2 ), T( 3 ), T( 4 ), T( 4.5 ),
                                      ::testing::Lt( T( 5 ) ), T( 5 ), T( 5 ) ) );
    for( const auto& [x, density] : { std::pair( -1.0, 0.0 ),
                                      { 0.5, 0.0 },
                                      { 1.0, 0.25 },
                                      { 3.0, 0.25 },
                                      { 4.5, 0.25 },
                                      { 5.5, 0.0 },
                                      { 6.0, 0.0 } } ) {
        EXPECT_EQ( rng.getPdf( static_cast<T>( x ) ), density ) << x;
    }
    EXPECT_EQ( rng.getEfficientMin(), 0 );
    EXPECT_EQ( rng.getEfficientMax(), 6 );
    EXPECT_EQ( rng.getEfficientWidth(), 6 );
    EXPECT_EQ( rng.getEfficientFraction(), static_cast<T>( 4 / 6.0 ) );
    // A bin whose share of the width is 0 in double has weight all the same.
    const T unlike[] = { 0, std::numeric_limits<T>::min(), std::numeric_limits<T>::max() / 2 };
    RnHistogram<T> tiny( 2, unlike );
    tiny.addToBin( 0, 1 );
    EXPECT_EQ( tiny.findBin( RnHistogramRng<T>( tiny, &this->_fair )() ), 0 );
    // All weight in one narrow bin, far from 0: rounding must not lead out of it.
    RnHistogram<T> narrow( 1000, 1000, 1001 );
    narrow.addToBin( 500, 3 );
    RnHistogramRng<T> inOne( narrow, &this->_fair );
    for( int i = 0; i < 100000; ++i ) {
        ASSERT_EQ( narrow.findBin( inOne() ), 500 );
    }
}

TYPED_TEST( RnHistogramsTest, SamplesOfARectangleFollowItsCells ) {
    using T = TypeParam;
    const T xEdges[] = { 0, 1, 3 };
    const T yEdges[] = { 0, 2, 3, 4 };
    RnBiHistogram<T> histogram( 2, xEdges, 3, yEdges );
    EXPECT_TRUE( histogram.add( T( 0.5 ), T( 2.5 ), 2 ) );
    EXPECT_TRUE( histogram.add( 1, 0, 1 ) );
    EXPECT_TRUE( histogram.add( 2, T( 3.9 ), 5 ) );
    EXPECT_FALSE( histogram.add( 3, 0 ) );
    EXPECT_FALSE( histogram.add( 0, static_cast<T>( NaN ) ) );
    EXPECT_THAT( histogram.getWeights(), ElementsAre( 0, 2, 0, 1, 0, 5 ) );
    EXPECT_THAT( histogram.getX().getWeights(), ElementsAre( 2, 6 ) );
    EXPECT_THAT( histogram.getY().getWeights(), ElementsAre( 1, 2, 5 ) );
    RnHistogramBiRng<T> rng( histogram, &this->_square );
    RnBiHistogram<T> found( 2, xEdges, 3, yEdges );
    constexpr unsigned int n = 100000;
    std::vector<T> xs( n );
    std::vector<T> ys( n );
    rng.getSequence( n, xs.data(), ys.data() );
    rng.restart();
    for( unsigned int i = 0; i < n; ++i ) {
        T x;
        T y;
        rng.getSample( x, y );
        ASSERT_TRUE( x == xs[i] && y == ys[i] );
        ASSERT_TRUE( found.add( x, y ) );
    }
    for( int i = 0; i < 6; ++i ) {
        const double share = histogram.getWeight( i / 3, i % 3 ) / 8;
        EXPECT_NEAR( found.getWeight( i / 3, i % 3 ) / n, share, share * 1e-3 ) << i;
    }
    EXPECT_EQ( rng.getPdf( T( 0.5 ), T( 2.5 ) ), 0.25 );
    EXPECT_EQ( rng.getPdf( 2, 1 ), 0.03125 );
    EXPECT_EQ( rng.getPdf( T( 0.5 ), 1 ), 0 );
    EXPECT_EQ( rng.getPdf( 3, 1 ), 0 );
    EXPECT_EQ( rng.getPdf( 2, 4 ), 0 );
    // 1 + 4 + 2 of 12.
    EXPECT_EQ( rng.getEfficientFraction(), static_cast<T>( 7 / 12.0 ) );
    T width[2];
    rng.getEfficientWidth( width[0], width[1] );
    EXPECT_THAT( width, ElementsAre( 3, 4 ) );
    rng.getEfficientMin( width[0], width[1] );
    EXPECT_THAT( width, ElementsAre( 0, 0 ) );
    rng.getEfficientMax( width[0], width[1] );
    EXPECT_THAT( width, ElementsAre( 3, 4 ) );
    EXPECT_STREQ( rng.getName(), "HistogramBi" );
    // 1 of the source: the ends of the last cell with weight.
    Script<T> one( { 1 } );
    RnSeparableBiRng<T> ones( &one );
    RnHistogramBiRng<T> last( histogram, &ones );
    last.getSample( xs[0], ys[0] );
    EXPECT_EQ( xs[0], 3 );
    EXPECT_EQ( ys[0], 4 );
}

TYPED_TEST( RnHistogramsTest, EveryDirectionIsInABinOfTheSphere ) {
    using T = TypeParam;
    RnSphericalHistogram<T> sphere( 4, 8 );
    EXPECT_EQ( sphere.getDensity( 0, 0 ), 0 );
    const T full = static_cast<T>( 2 * PI );
    const struct {
        T _cosine, _azimuth;
        int _bins[2];
    } cases[] = { { 1, 0, { 3, 0 } },
                  { T( 1.0001 ), full, { 3, 0 } },
                  { -1, static_cast<T>( -this->EPSILON ), { 0, 7 } },
                  { T( -1.1 ), 2 * full, { 0, 0 } },
                  { 0, -full / 4, { 2, 6 } },
                  { 0, std::nextafter( full, T( 0 ) ), { 2, 7 } } };
    for( const auto& one : cases ) {
        sphere.clear();
        EXPECT_TRUE( sphere.addCosine( one._cosine, one._azimuth, 3 ) );
        EXPECT_EQ( sphere.getBins().getWeight( one._bins[0], one._bins[1] ), 3 )
            << one._cosine << ' ' << one._azimuth;
    }
    sphere.clear();
    EXPECT_TRUE( sphere.addXYZ( 0, 0, 17 ) );
    EXPECT_TRUE( sphere.addAngles( 0, 0 ) );
    EXPECT_EQ( sphere.getBins().getWeight( 3, 0 ), 2 );
    sphere.clear();
    for( const T length :
         { std::numeric_limits<T>::max(), T( 1 ), std::numeric_limits<T>::denorm_min() } ) {
        EXPECT_TRUE( sphere.addXYZ( length, length, length ) ); // the cosine is 0.58
    }
    EXPECT_EQ( sphere.getBins().getWeight( 3, 1 ), 3 );
    EXPECT_FALSE( sphere.addXYZ( 0, 0, 0 ) );
    EXPECT_FALSE( sphere.addXYZ( 0, static_cast<T>( INF ), 0 ) );
    EXPECT_FALSE( sphere.addCosine( static_cast<T>( NaN ), 0 ) );
    EXPECT_FALSE( sphere.addAngles( 0, static_cast<T>( INF ) ) );
}

TYPED_TEST( RnHistogramsTest, DumpsAreTextsOfTheirFormats ) {
    using T = TypeParam;
    RnHistogram<T> histogram( 2, T( 0.1 ), T( 0.3 ) );
    histogram.addToBin( 0, 1 );
    histogram.addToBin( 1, 2 );
    std::ostringstream text;
    // What a caller has set for its own numbers has no effect.
    text.precision( 2 );
    text << std::hex << std::showpos;
    histogram.dump( text );
    EXPECT_EQ( text.str(), "0.1 ... 0.2: 1\n0.2 ... 0.3: 2\n" );
    text.str( "" );
    histogram.dumpInventor( text );
    const std::string scene = text.str();
    std::size_t at = 0;
    for( const char* part :
         { "Separator { ", "  LightModel { model  BASE_COLOR }", "  DrawStyle { pointSize 2 }",
           "  PointSet { vertexProperty VertexProperty { vertex [ ", " 0.5 0, ", " 1 0, ", "] } }",
           "  LineSet { vertexProperty VertexProperty { vertex [ ", "0 0 0, ", "0 1 0, ",
           "startIndex 0 ", "numVertices [ 2, 2, 2 ] ", "} }" } ) {
        at = scene.find( part, at );
        ASSERT_NE( at, std::string::npos ) << part << scene;
    }
    RnBiHistogram<T> flat( 1, 0, 1, 2, 0, 1 );
    text.str( "" );
    flat.dump( text );
    EXPECT_EQ( text.str(), "0 ... 1, 0 ... 0.5: 0\n0 ... 1, 0.5 ... 1: 0\n" );
    text.str( "" );
    flat.dumpInventor( text );
    EXPECT_THAT( text.str(), ::testing::AllOf( HasSubstr( "[ 0.5 0.25 0, 0.5 0.75 0, ] } }" ),
                                               HasSubstr( " 1, " ),
                                               HasSubstr( "numVertices [ 2, 2, 2, 2, 2 ] " ) ) );
    RnSphericalHistogram<T> sphere( 1, 4 );
    sphere.addCosine( 0, 0 );
    text.str( "" );
    sphere.dumpInventor( text );
    for( const char* part : { "-1 -1 0, ", "+1 -1 0, ", "+1 +1 0, ", "-1 +1 0, ", "0 0 1, ",
                              "numVertices [ 2, 2, 2, 2 ] ", "orderedRGBA [ 0xffffffff ]" } ) {
        EXPECT_THAT( text.str(), HasSubstr( part ) );
    }
    for( const std::string& any : { scene, text.str() } ) {
        EXPECT_EQ( std::count( any.begin(), any.end(), '{' ),
                   std::count( any.begin(), any.end(), '}' ) );
    }
}

} // namespace
} // namespace Qv
