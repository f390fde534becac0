#include <resmgt/random/rnAsymmetricalSeparableBiRng.h>
#include <resmgt/random/rnCosineHemisphericalRng.h>
#include <resmgt/random/rnEx.h>
#include <resmgt/random/rnGaussianRng.h>
#include <resmgt/random/rnHistogramBiRng.h>
#include <resmgt/random/rnHistogramRng.h>
#include <resmgt/random/rnInverseGaussianRng.h>
#include <resmgt/random/rnMexicanHatRng.h>
#include <resmgt/random/rnNumRecUniformRng.h>
#include <resmgt/random/rnSeparableBiRng.h>
#include <resmgt/random/rnSeparableMultiRng.h>
#include <resmgt/random/rnSphericalHistogram.h>
#include <resmgt/random/rnUniformHemisphericalRng.h>
#include <resmgt/random/rnUniformHistogram.h>
#include <resmgt/random/rnUniformSphericalRng.h>
#include <resmgt/random/test/rnTestBase.h>

#include <tests/support/failingNew.h>

#include <memory>
#include <numbers>
#include <sstream>
#include <type_traits>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

template <class T>
class RnDistributionsTest : public RnTestBase<T> {};

TYPED_TEST_SUITE( RnDistributionsTest, RnTypes );

double normalShare( double x ) {
    return std::erfc( -x / std::numbers::sqrt2 ) / 2;
}

TYPED_TEST( RnDistributionsTest, MisuseIsAnAssertion ) {
    using T = TypeParam;
    const T edges[] = { 0, 1, 1 };
    const T nanEdges[] = { 0, static_cast<T>( NaN ), 1 };
    const T max = std::numeric_limits<T>::max();
    RnHistogram<T> empty( 0, edges );
    RnHistogram<T> unweighted( 2, 0, 1 );
    RnBiHistogram<T> flat( 2, 0, 1, 2, 0, 1 );
    RnHistogram<T> full( 2, 0, 1 );
    full.addToBin( 0, 1e308 );
    full.addToBin( 1, 1e308 );
    RnRng<T>* const none = nullptr;
    RnRng<T>* const fair = &this->_fair;
    const std::pair<std::function<void()>, const char*> cases[] = {
        { [&] { RnGaussianRng<T> rng( none ); }, "\"_uniRng\"" },
        { [&] { RnGaussianRng<T> rng( fair, 0, 0 ); }, "_sigma > 0" },
        { [&] { RnGaussianRng<T> rng( fair, 0, static_cast<T>( NaN ) ); }, "_sigma > 0" },
        { [&] { RnInverseGaussianRng<T> rng( none ); }, "_uniRng" },
        { [&] { RnInverseGaussianRng<T> rng( fair, 0, -1 ); }, "_sigma > 0" },
        { [&] { RnMexicanHatRng<T> rng( none ); }, "rng != 0" },
        { [&] { RnMexicanHatRng<T> rng( fair, 0, 0 ); }, "_halfwidth > 0" },
        { [&] { RnSeparableBiRng<T> rng( none ); }, "_uniRng" },
        { [&] { RnAsymmetricalSeparableBiRng<T> rng( none, fair ); }, "_uniRng0" },
        { [&] { RnAsymmetricalSeparableBiRng<T> rng( fair, none ); }, "_uniRng1" },
        { [&] { RnSeparableMultiRng<T, 3> rng( none ); }, "_uniRng" },
        { [&] { RnUniformSphericalRng<T> rng( nullptr ); }, "_rng" },
        { [&] { RnUniformHemisphericalRng<T> rng( nullptr ); }, "_rng" },
        { [&] { RnCosineHemisphericalRng<T> rng( nullptr ); }, "_rng" },
        { [&] { RnHistogramRng<T> rng( full, fair ); }, "isfinite" },
        { [&] { RnHistogramRng<T> rng( unweighted, fair ); }, "hasWeight" },
        { [&] { RnHistogramRng<T> rng( empty, fair ); }, "hasWeight" },
        { [&] { RnHistogramBiRng<T> rng( flat, &this->_square ); }, "hasWeight" },
        { [&] { RnHistogram<T> bad( 2, edges ); }, "<" },
        { [&] { RnHistogram<T> bad( 2, nanEdges ); }, "<" },
        { [&] { RnHistogram<T> bad( 2, 1, 1 ); }, "min < max" },
        { [&] { RnHistogram<T> bad( 2, -max, max ); }, "isfinite" },
        { [&] { RnHistogram<T> bad( 9, 1, std::nextafter( T( 1 ), T( 2 ) ) ); }, "<" },
        { [&] { RnUniformHistogram<T> bad( 0xffffffff, 0, 1 ); }, "MAX_BINS" },
        { [&] { full.add( 0, -1 ); }, "weight >= 0" },
        { [&] { full.add( 9, NaN ); }, "weight >= 0" },
        { [&] { full.addToBin( 0, INF ); }, "isfinite" },
        { [&] { full.addToBin( 0, 1.7e308 ); }, "isfinite( sum )" },
        { [&] { full.addToBin( 2, 1 ); }, "bin < getNbBins()" },
        { [&] { full.getWeight( -1 ); }, "bin >= 0" },
        { [&] { flat.addToBin( 0, 2, 1 ); }, "yBin" } };
    for( const auto& [body, text] : cases ) {
        EXPECT_THAT( this->assertionOf( body ), HasSubstr( text ) );
    }
    EXPECT_EQ( full.getWeight( 0 ), 1e308 );
}

TYPED_TEST( RnDistributionsTest, PolarValuesComeInPairsOfTheSourcesAcceptedNumbers ) {
    using T = TypeParam;
    // 0.9, 0.9 is outside the circle; u = 0.5, v = -0.25.
    Script<T> source( { 0.9, 0.9, 0.75, 0.375 } );
    RnGaussianRng<T> rng( &source, 10, 2 );
    const double factor = std::sqrt( -2 * std::log( 0.3125 ) / 0.3125 );
    EXPECT_NEAR( rng(), 10 + 2 * 0.5 * factor, 20 * this->EPSILON );
    EXPECT_EQ( source._nbTaken, 4u );
    EXPECT_NEAR( rng.eval(), -0.25 * factor, 4 * this->EPSILON );
    EXPECT_EQ( source._nbTaken, 4u ) << "the spare value draws nothing";
    rng.eval();
    rng.restart();
    EXPECT_EQ( source._nbTaken, 0u );
    EXPECT_NEAR( rng.eval(), -0.25 * factor, 4 * this->EPSILON ) << "the spare value stays";
    rng.eval();
    rng.forgetSpare();
    rng.restart();
    EXPECT_NEAR( rng.eval(), 0.5 * factor, 4 * this->EPSILON );

    // With the state of the source all goes on from a kept spare value, or from none.
    RnXoshiroUniformRng<T> fair( 3 );
    RnGaussianRng<T> saved( &fair );
    for( int nbTaken = 0; nbTaken < 3; ++nbTaken ) {
        const std::string states[] = { fair.getState(), saved.getState() };
        const std::vector<T> expected = this->take( saved, 4 );
        fair.setState( states[0] );
        saved.setState( states[1] );
        EXPECT_EQ( saved.getState(), states[1] );
        EXPECT_EQ( this->take( saved, 4 ), expected ) << states[1];
        fair.setState( states[0] );
        saved.setState( states[1] );
        saved();
    }
    // 1.5 is the same for both number types.
    saved.setState( "Gaussian: 1 4609434218613702656" );
    for( const char* text : { "Gaussian: 0 1", "Gaussian: 2 0", "Gaussian: 1", "Gaussian: 0 0 ",
                              "Gaussian: 1 18446744073709551616" } ) {
        EXPECT_THROW( saved.setState( text ), RnEx::ExBadState ) << text;
    }
    if( std::is_same_v<T, float> ) {
        EXPECT_THROW( saved.setState( "Gaussian: 1 9218868437227405311" ), RnEx::ExBadState )
            << "the largest double";
    }
    EXPECT_EQ( saved.getState(), "Gaussian: 1 4609434218613702656" );
    EXPECT_EQ( saved.eval(), 1.5 );
    EXPECT_EQ( saved.getState(), "Gaussian: 0 0" );

    // Sequences are the single values, and take as much from the source.
    for( const unsigned int before : { 0u, 1u } ) {
        for( const unsigned int n : { 0u, 1u, 2u, 3u, 128u, 129u, 1000u, 1001u } ) {
            RnXoshiroUniformRng<T> sources[2];
            RnGaussianRng<T> many( &sources[0], 1, 3 );
            RnGaussianRng<T> single( &sources[1], 1, 3 );
            EXPECT_EQ( this->take( many, before ), this->take( single, before ) );
            for( const T value : this->take( many, n ) ) {
                ASSERT_EQ( value, single() );
            }
            EXPECT_EQ( sources[0].getState(), sources[1].getState() ) << before << ' ' << n;
            EXPECT_EQ( many(), single() );
        }
    }
    // Sources that are stuck end in an assertion; what isn't a number goes through.
    for( const double stuck : { 0.0, 1.0, INF } ) {
        Script<T> bad( { stuck } );
        RnGaussianRng<T> hung( &bad );
        EXPECT_THAT( this->assertionOf( [&] { hung(); } ), HasSubstr( "MAX_REJECTED" ) );
        EXPECT_THAT( this->assertionOf( [&] { this->take( hung, 100 ); } ),
                     HasSubstr( "MAX_REJECTED" ) );
    }
    Script<T> nan( { NaN } );
    RnGaussianRng<T> ofNaN( &nan );
    EXPECT_TRUE( std::isnan( ofNaN() ) );
    EXPECT_TRUE( std::isnan( this->take( ofNaN, 2 )[1] ) );
}

TYPED_TEST( RnDistributionsTest, AllWaysToTakeAValueGiveOneSequence ) {
    using T = TypeParam;
    RnHistogram<T> histogram( 4, 0, 2 );
    histogram.add( 0, 2 );
    histogram.add( 1, 1 );
    RnGaussianRng<T> polar( &this->_fair, 1, 2 );
    RnInverseGaussianRng<T> inverse( &this->_fair, 1, 2 );
    RnMexicanHatRng<T> tent( &this->_fair, 1, 2 );
    RnHistogramRng<T> sampler( histogram, &this->_fair );
    const std::pair<RnRng<T>*, const char*> all[] = { { &polar, "Gaussian" },
                                                      { &inverse, "Inverse Gaussian" },
                                                      { &tent, "Mexican Hat" },
                                                      { &sampler, "Histogram" } };
    for( const auto& [rng, name] : all ) {
        SCOPED_TRACE( name );
        EXPECT_STREQ( rng->getName(), name );
        rng->restart();
        const std::vector<T> expected = this->take( *rng, 200 );
        rng->restart();
        for( std::size_t i = 0; i < expected.size(); i += 2 ) {
            T value;
            rng->getSample( value );
            ASSERT_EQ( value, expected[i] ) << i;
            ASSERT_EQ( ( *rng )(), expected[i + 1] ) << i;
        }
    }
}

TYPED_TEST( RnDistributionsTest, InverseNormalMeetsKnownValuesAndKeepsOrder ) {
    using T = TypeParam;
    const struct {
        double _u, _x;
    } cases[] = { { 0.5, 0 },
                  { 0.25, -0.6744897501960817 },
                  { 0.975, 1.9599639845400536 },
                  { 0.001, -3.090232306167813 },
                  { 0.925, 1.439531470938456 },
                  { 0.0749, -1.4402382675279632 },
                  { 1e-10, -6.361340902404056 },
                  { 1e-12, -7.034483825301132 },
                  { 0x1p-54, -8.292361075813595 },
                  { 0, -8.292361075813595 },
                  { -1, -8.292361075813595 },
                  { 1, 8.209536151601386 },
                  { INF, 8.209536151601386 } };
    for( const auto& one : cases ) {
        // The slope of the inverse carries the rounding of u on.
        const double slope =
            one._u > 0.5 ? std::sqrt( 2 * PI ) * std::exp( one._x * one._x / 2 ) : 1;
        const double error =
            one._u > 0 && one._u < 1 ? slope * one._u + std::abs( one._x ) + 1 : 10;
        EXPECT_NEAR( RnInverseGaussianRng<T>::map( static_cast<T>( one._u ) ), one._x,
                     2 * this->EPSILON * error )
            << one._u;
    }
    EXPECT_TRUE( std::isnan( RnInverseGaussianRng<T>::map( static_cast<T>( NaN ) ) ) );
    T before = static_cast<T>( -INF );
    for( int i = 0; i <= 4096; ++i ) {
        const T x = RnInverseGaussianRng<T>::map( static_cast<T>( i / 4096.0 ) );
        ASSERT_GT( x, before ) << i;
        before = x;
    }
    Script<T> source( { 0.25, 0.975 } );
    RnInverseGaussianRng<T> rng( &source, 10, 2 );
    EXPECT_NEAR( rng(), 10 - 2 * 0.6744897501960817, 20 * this->EPSILON );
    EXPECT_EQ( source._nbTaken, 1u );
    rng.restart();
    EXPECT_NEAR( this->take( rng, 2 )[1], 10 + 2 * 1.9599639845400536, 40 * this->EPSILON );
}

TYPED_TEST( RnDistributionsTest, NormalValuesPassTheTestsOfChance ) {
    using T = TypeParam;
    constexpr unsigned int n = 1u << 20;
    RnGaussianRng<T> polar( &this->_fair );
    RnXoshiroUniformRng<T> other( 7 );
    RnInverseGaussianRng<T> inverse( &other );
    for( RnRng<T>* rng : std::initializer_list<RnRng<T>*>{ &polar, &inverse } ) {
        SCOPED_TRACE( rng->getName() );
        const std::vector<T> values = this->take( *rng, n );
        this->expectMoments( values, { 0, 1, 0, 3 }, { 1, 2, 15, 96 } );
        const auto nbFar =
            std::ranges::count_if( values, []( T value ) { return std::abs( value ) > 4; } );
        // 6.334e-5 of all lie beyond 4 sigma.
        EXPECT_NEAR( double( nbFar ), 66.4, 5 * std::sqrt( 66.4 ) );
        EXPECT_LT( this->distance( values, normalShare ), 2.7 );

        EXPECT_EQ( rng->getEfficientWidth(), 4 );
        EXPECT_EQ( rng->getEfficientMin(), -2 );
        EXPECT_EQ( rng->getEfficientMax(), 2 );
        EXPECT_EQ( rng->getEfficientFraction(), T( 0.99993666 ) );
        EXPECT_NEAR( rng->getPdf( 1 ), 0.24197072451914337, this->EPSILON );
    }
    RnGaussianRng<T> wide( &this->_fair, 10, 2 );
    EXPECT_EQ( wide.getEfficientMin(), 6 );
    EXPECT_EQ( wide.getEfficientMax(), 14 );
    EXPECT_NEAR( wide.getPdf( 12 ), 0.24197072451914337 / 2, this->EPSILON );
}

TYPED_TEST( RnDistributionsTest, TheTentIsHighestAtItsCentre ) {
    using T = TypeParam;
    Script<T> source( { 0, 0.125, 0.5, 0.875, 1, NaN } );
    RnMexicanHatRng<T> rng( &source, 10, 4 );
    const std::vector<T> values = this->take( rng, 6 );
    EXPECT_THAT( std::vector<T>( values.begin(), values.end() - 1 ),
                 ElementsAre( T( 8 ), T( 9 ), T( 10 ), T( 11 ), T( 12 ) ) );
    EXPECT_TRUE( std::isnan( values.back() ) );
    for( const auto& [x, density] : { std::pair( 8.0, 0.0 ),
                                      { 9.0, 0.25 },
                                      { 10.0, 0.5 },
                                      { 11.5, 0.125 },
                                      { 12.0, 0.0 },
                                      { 13.0, 0.0 } } ) {
        EXPECT_EQ( rng.getPdf( static_cast<T>( x ) ), density ) << x;
    }
    EXPECT_EQ( rng.getEfficientWidth(), 4 );
    EXPECT_EQ( rng.getEfficientMin(), 8 );
    EXPECT_EQ( rng.getEfficientMax(), 12 );
    RnMexicanHatRng<T> fair( &this->_fair );
    EXPECT_LT( this->distance( this->take( fair, 100000 ),
                               []( double x ) {
                                   const double below = ( 1 - std::abs( 2 * x ) );
                                   return x < 0 ? below * below / 2 : 1 - below * below / 2;
                               } ),
               2.7 );
}

TYPED_TEST( RnDistributionsTest, WithoutMemoryAllStaysAsItWas ) {
    using T = TypeParam;
    RnHistogram<T> line( 3, 0, 1 );
    RnHistogram<T> longer( 7, 0, 2 );
    RnBiHistogram<T> flat( 2, 0, 1, 3, 0, 1 );
    RnBiHistogram<T> larger( 4, 0, 2, 5, 0, 2 );
    line.add( 0 );
    larger.add( 1, 1 );
    flat.add( 0, 0 );
    RnNumRecUniformRng<T> generator( 1 );
    const std::string state = RnNumRecUniformRng<T>( 2 ).getState();
    const auto describe = [&] {
        std::ostringstream text;
        line.dump( text );
        flat.dump( text );
        flat.getX().dump( text );
        return text.str() + generator.getState();
    };
    const std::function<void()> bodies[] = {
        [&] { RnHistogramBiRng<T> rng( flat, &this->_square ); },
        [&] { line = longer; },
        [&] { flat = larger; },
        [&] { generator.setState( state ); },
    };
    for( const auto& body : bodies ) {
        const std::string before = describe();
        EXPECT_GT( forEachFailingNew( body,
                                      [&]( bool hasFailed ) {
                                          ASSERT_TRUE( !hasFailed || describe() == before );
                                      } ),
                   0 );
    }
    EXPECT_EQ( line.getNbBins(), 7 );
    EXPECT_EQ( generator.getState(), state );
    const RnHistogramBiRng<T> filled( larger, &this->_square );
    RnHistogramBiRng<T> copy( flat, &this->_square );
    {
        const FailingNew failing( 0 );
        copy = filled;
    }
    EXPECT_EQ( copy.getPdf( 1, 1 ), filled.getPdf( 1, 1 ) );
    // What is moved from is a table without bins, or as it was.
    RnBiHistogram<T> taken( std::move( flat ) );
    EXPECT_FALSE( flat.add( 0, 0 ) );
    copy = RnHistogramBiRng<T>( std::move( copy ) );
    EXPECT_EQ( copy.getPdf( 1, 1 ), filled.getPdf( 1, 1 ) );
}

TYPED_TEST( RnDistributionsTest, SeparablePointsAreMadeOfTheirSources ) {
    using T = TypeParam;
    Script<T> source( { 0.25, 0.5, 0.75, 1 } );
    Script<T> flat( { 0.5 } );
    RnMexicanHatRng<T> tent( &flat, 5, 4 );
    RnHistogram<T> half( 2, 0, 1 );
    half.add( 0 );
    RnHistogramRng<T> lower( half, &source );

    T x[3];
    T y[3];
    T z[3];
    RnSeparableBiRng<T> same( &source );
    same.getSample( x[0], y[0] );
    EXPECT_TRUE( x[0] == T( 0.25 ) && y[0] == T( 0.5 ) );
    same.restart();
    same.getSequence( 2, x, y );
    EXPECT_TRUE( x[1] == T( 0.5 ) && y[0] == T( 0.75 ) && y[1] == 1 ) << "one array at a time";
    EXPECT_STREQ( same.getName(), "Symmetrical Bi Separable" );
    EXPECT_EQ( RnSeparableBiRng<T>( &lower ).getEfficientFraction(), 0.25 );
    EXPECT_EQ( RnSeparableBiRng<T>( &lower ).getPdf( 0, T( 0.4 ) ), 4 );

    RnAsymmetricalSeparableBiRng<T> two( &lower, &tent );
    EXPECT_STREQ( two.getName(), "Assymetrical Bi Separable" );
    source.restart();
    two.getSample( x[0], y[0] );
    EXPECT_TRUE( x[0] == T( 0.125 ) && y[0] == 5 );
    two.getSequence( 2, x, y );
    EXPECT_TRUE( x[1] == T( 0.375 ) && y[1] == 5 );
    EXPECT_EQ( two.getEfficientFraction(), 0.5 );
    EXPECT_EQ( two.getPdf( 0, 5 ), 2 * 0.5 );
    two.getEfficientMin( x[0], y[0] );
    two.getEfficientMax( x[1], y[1] );
    two.getEfficientWidth( x[2], y[2] );
    EXPECT_THAT( x, ElementsAre( 0, 1, 1 ) );
    EXPECT_THAT( y, ElementsAre( 3, 7, 4 ) );
    two.restart();
    EXPECT_EQ( source._nbTaken + flat._nbTaken, 0u );

    RnSeparableMultiRng<T, 3> three( &source );
    T* const arrays[] = { x, y, z };
    three.getSequence( 1, arrays );
    EXPECT_TRUE( x[0] == T( 0.25 ) && y[0] == T( 0.5 ) && z[0] == T( 0.75 ) );
    three.restart();
    three.getSample( x );
    EXPECT_THAT( x, ElementsAre( T( 0.25 ), T( 0.5 ), T( 0.75 ) ) );
    EXPECT_EQ( ( RnSeparableMultiRng<T, 3>( &lower ).getEfficientFraction() ), 0.125 );
    const RnSeparableMultiRng<T, 4> four( &tent );
    T box[4];
    four.getEfficientMin( box );
    EXPECT_THAT( box, ::testing::Each( 3 ) );
    four.getEfficientMax( box );
    EXPECT_THAT( box, ::testing::Each( 7 ) );
    four.getEfficientWidth( box );
    EXPECT_THAT( box, ::testing::Each( 4 ) );
    EXPECT_STREQ( four.getName(), "Multi Separable" );
    EXPECT_EQ(
        ( RnSeparableMultiRng<T, 3>( &tent ).getPdf( std::begin( { T( 5 ), T( 4 ), T( 5 ) } ) ) ),
        0.0625 );
}

TYPED_TEST( RnDistributionsTest, DirectionsHaveThreeViewsAndADensityPerSteradian ) {
    using T = TypeParam;
    const struct {
        std::shared_ptr<RnSphericalRng<T>> _rng;
        double _cosines[3];   // of u = 0, 0.25, 1
        double _densities[3]; // at cosines of -1, 0.5, 1
        const char* _name;
    } cases[] = { { std::make_shared<RnUniformSphericalRng<T>>( &this->_square ),
                    { -1, -0.5, 1 },
                    { 1 / ( 4 * PI ), 1 / ( 4 * PI ), 1 / ( 4 * PI ) },
                    "Uniform spherical" },
                  { std::make_shared<RnUniformHemisphericalRng<T>>( &this->_square ),
                    { 0, 0.25, 1 },
                    { 0, 1 / ( 2 * PI ), 1 / ( 2 * PI ) },
                    "Uniform hemispherical" },
                  { std::make_shared<RnCosineHemisphericalRng<T>>( &this->_square ),
                    { 0, 0.5, 1 },
                    { 0, 0.5 / PI, 1 / PI },
                    "Cosine hemispherical" } };
    const double tolerance = 8 * this->EPSILON;
    for( const auto& one : cases ) {
        SCOPED_TRACE( one._name );
        RnSphericalRng<T>& rng = *one._rng;
        EXPECT_STREQ( rng.getName(), one._name );
        for( int i = 0; i < 3; ++i ) {
            const T u = i == 0 ? T( 0 ) : i == 1 ? T( 0.25 ) : T( 1 );
            T cosine, azimuth, polar, x, y, z;
            rng.mapCosine( u, T( 0.25 ), cosine, azimuth );
            EXPECT_EQ( cosine, one._cosines[i] );
            EXPECT_NEAR( azimuth, PI / 2, tolerance );
            rng.mapAngles( u, T( 0.25 ), polar, azimuth );
            EXPECT_NEAR( polar, std::acos( one._cosines[i] ), tolerance );
            rng.mapXYZ( u, T( 0.25 ), x, y, z );
            EXPECT_NEAR( x, 0, tolerance );
            EXPECT_NEAR( y, std::sin( std::acos( one._cosines[i] ) ), tolerance );
            EXPECT_EQ( z, one._cosines[i] );

            const T at = i == 0 ? T( -1 ) : i == 1 ? T( 0.5 ) : T( 1 );
            EXPECT_NEAR( rng.getPdfCosine( at ), one._densities[i], tolerance );
            EXPECT_NEAR( rng.getPdfAngles( std::acos( at ), 3 ), one._densities[i], tolerance );
            EXPECT_NEAR( rng.getPdfXYZ( std::sqrt( 1 - at * at ), 0, at ), one._densities[i],
                         tolerance );
        }
        EXPECT_EQ( rng.getPdfCosine( T( 1.001 ) ), rng.getPdfCosine( 1 ) );
        // The polar angle of the horizon is rounded, in float to below it.
        EXPECT_NEAR( rng.getPdfAngles( std::acos( T( 0 ) ) ), rng.getPdfCosine( 0 ), 1e-7 );
        EXPECT_NEAR( rng.getPdfAngles( T( 1.58 ) ), rng.getPdfCosine( T( -0.0092 ) ), 1e-4 );
        constexpr unsigned int n = 50;
        T a[3][n], b[3][n], z[n];
        rng.restart();
        rng.getSequenceCosine( n, a[0], b[0] );
        rng.restart();
        rng.getSequenceAngles( n, a[1], b[1] );
        rng.restart();
        rng.getSequenceXYZ( n, a[2], b[2], z );
        for( int view = 0; view < 3; ++view ) {
            rng.restart();
            for( unsigned int i = 0; i < n; ++i ) {
                T value[3] = { 0, 0, z[i] };
                view == 0   ? rng.getSampleCosine( value[0], value[1] )
                : view == 1 ? rng.getSampleAngles( value[0], value[1] )
                            : rng.getSampleXYZ( value[0], value[1], value[2] );
                EXPECT_THAT( value, ElementsAre( a[view][i], b[view][i], z[i] ) );
            }
        }
        // The density is what the directions have: half of the sphere by shares of the cosine.
        RnSphericalHistogram<T> found( 8, 4 );
        rng.restart();
        for( int i = 0; i < 80000; ++i ) {
            T x, y, height;
            rng.getSampleXYZ( x, y, height );
            ASSERT_NEAR( x * x + y * y + height * height, 1, tolerance );
            ASSERT_TRUE( found.addXYZ( x, y, height ) );
        }
        for( int bin = 0; bin < 32; ++bin ) {
            const T middle = static_cast<T>( ( bin / 4 + 0.5 ) / 4 - 1 );
            EXPECT_NEAR( found.getDensity( bin / 4, bin % 4 ), rng.getPdfCosine( middle ), 1e-3 );
        }
    }
}

} // namespace
} // namespace Qv
