#include <resmgt/random/rnEx.h>
#include <resmgt/random/rnHammersleyBiRng.h>
#include <resmgt/random/rnLecuyerUniformRng.h>
#include <resmgt/random/rnNiederreiterMultiRng.h>
#include <resmgt/random/rnNumRecUniformRng.h>
#include <resmgt/random/rnScrambledMultiRng.h>
#include <resmgt/random/rnStdUniformRng.h>
#include <resmgt/random/test/rnTestBase.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

template <class T>
class RnGeneratorsTest : public RnTestBase<T> {};

TYPED_TEST_SUITE( RnGeneratorsTest, RnTypes );

// One generator of any dimension, point by point.
struct AnyGenerator {
    std::string _name;
    unsigned int _nbDimensions;
    std::function<std::vector<double>()> _take;
    std::function<std::vector<std::vector<double>>( unsigned int )> _takeMany;
    std::function<void()> _restart;
    std::function<void( std::uint64_t )> _skip;
    std::function<std::string()> _getState;
    std::function<void( const std::string& )> _setState;
    std::function<double()> _getFraction;
    // The width, the lowest and the highest values.
    std::function<std::vector<double>()> _getBox;
    std::function<double( double )> _getPdf;
};

template <class T, class Generator>
AnyGenerator makeAny( const char* name, unsigned int dims, Generator made ) {
    auto shared = std::make_shared<Generator>( made );
    EXPECT_STREQ( shared->getName(), name );
    AnyGenerator any{ name, dims, {}, {}, {}, {}, {}, {}, {}, {}, {} };
    any._take = [shared, dims] {
        T values[4] = {};
        if constexpr( requires { ( *shared )(); } ) {
            values[0] = ( *shared )();
        } else if constexpr( requires { shared->getSample( values[0], values[1] ); } ) {
            shared->getSample( values[0], values[1] );
        } else {
            shared->getSample( values );
        }
        return std::vector<double>( values, values + dims );
    };
    any._takeMany = [shared, dims]( unsigned int n ) { return takeMany<T>( *shared, n, dims ); };
    any._restart = [shared] { shared->restart(); };
    any._skip = [shared]( std::uint64_t n ) { shared->skip( n ); };
    if constexpr( requires { shared->getState(); } ) {
        any._getState = [shared] { return shared->getState(); };
        any._setState = [shared]( const std::string& text ) { shared->setState( text ); };
    }
    any._getFraction = [shared] { return shared->getEfficientFraction(); };
    any._getBox = [shared, dims] {
        T box[3][4] = {};
        if constexpr( requires { ( *shared )(); } ) {
            box[0][0] = shared->getEfficientWidth();
            box[1][0] = shared->getEfficientMin();
            box[2][0] = shared->getEfficientMax();
        } else if constexpr( requires { shared->getEfficientMin( box[0][0], box[0][1] ); } ) {
            shared->getEfficientWidth( box[0][0], box[0][1] );
            shared->getEfficientMin( box[1][0], box[1][1] );
            shared->getEfficientMax( box[2][0], box[2][1] );
        } else {
            shared->getEfficientWidth( box[0] );
            shared->getEfficientMin( box[1] );
            shared->getEfficientMax( box[2] );
        }
        std::vector<double> sides;
        for( const auto& side : box ) {
            sides.insert( sides.end(), side, side + dims );
        }
        return sides;
    };
    any._getPdf = [shared, dims]( double x ) -> double {
        T point[] = { T( 0.5 ), T( 0.5 ), T( 0.5 ), T( 0.5 ) };
        point[dims - 1] = static_cast<T>( x );
        if constexpr( requires { ( *shared )(); } ) {
            return shared->getPdf( static_cast<T>( x ) );
        } else if constexpr( requires { shared->getPdf( point[0], point[1] ); } ) {
            return shared->getPdf( point[0], point[1] ) * shared->getPdf( point[1], point[0] );
        } else {
            return shared->getPdf( point );
        }
    };
    return any;
}

template <class T>
std::vector<AnyGenerator> makeAll() {
    return { makeAny<T>( "Std OS-specific generator", 1, RnStdUniformRng<T>( 77 ) ),
             makeAny<T>( "Numerical Recipes RAN2", 1, RnNumRecUniformRng<T>( 77 ) ),
             makeAny<T>( "Lecuyer", 1, RnLecuyerUniformRng<T>( 77, 78 ) ),
             makeAny<T>( "Xoshiro256++", 1, RnXoshiroUniformRng<T>( 77 ) ),
             makeAny<T>( "Van der Corput", 1, RnVanDerCorputRng<T>( 3 ) ),
             makeAny<T>( "Halton", 2, RnHaltonBiRng<T>() ),
             makeAny<T>( "Halton", 2, RnHaltonMultiRng<T, 2>() ),
             makeAny<T>( "Halton", 3, RnHaltonMultiRng<T, 3>() ),
             makeAny<T>( "Halton", 4, RnHaltonMultiRng<T, 4>() ),
             makeAny<T>( "Hammersley", 2, RnHammersleyBiRng<T>( 1000 ) ),
             makeAny<T>( "Hammersley", 2, RnHammersleyMultiRng<T, 2>( 1000 ) ),
             makeAny<T>( "Hammersley", 3, RnHammersleyMultiRng<T, 3>( 1000 ) ),
             makeAny<T>( "Hammersley", 4, RnHammersleyMultiRng<T, 4>( 1000 ) ),
             makeAny<T>( "Niederreiter", 4, RnNiederreiterMultiRng<T>() ),
             makeAny<T>( "Scrambled Niederreiter", 4, RnScrambledMultiRng<T>( 77 ) ) };
}

TYPED_TEST( RnGeneratorsTest, AllWaysToTakeSkipAndRestoreGiveOneSequence ) {
    for( AnyGenerator& any : makeAll<TypeParam>() ) {
        SCOPED_TRACE( any._name + ' ' + std::to_string( any._nbDimensions ) );
        any._restart();
        std::vector<std::vector<double>> expected;
        for( int i = 0; i < 304; ++i ) {
            expected.push_back( any._take() );
        }
        // Hammersley's sequences begin at the first point, whatever was taken singly.
        for( const unsigned int n : { 0u, 1u, 3u, 4u, 21u, 299u } ) {
            any._restart();
            const unsigned int before = any._name == "Hammersley" ? 0 : n % 4;
            for( unsigned int i = 0; i < before; ++i ) {
                any._take();
            }
            const auto many = any._takeMany( n );
            for( unsigned int i = 0; i < n; ++i ) {
                ASSERT_EQ( many[i], expected[before + i] ) << n << ' ' << i;
            }
        }
        for( const unsigned int n : { 0u, 1u, 5u, 64u, 255u, 299u } ) {
            any._restart();
            any._take();
            any._skip( n == 0 ? 0 : n - 1 );
            EXPECT_EQ( any._take(), expected[std::max( n, 1u )] ) << n;
        }
        if( any._getState ) {
            any._restart();
            any._skip( 123 );
            const std::string state = any._getState();
            any._skip( 77 );
            any._setState( state );
            EXPECT_EQ( any._getState(), state );
            EXPECT_EQ( any._take(), expected[123] ) << state;
            any._restart();
            EXPECT_EQ( any._take(), expected[0] ) << state;
        }
        EXPECT_EQ( any._getFraction(), 1 );
        std::vector<double> box( 3 * any._nbDimensions, 1 );
        std::fill_n( box.begin() + any._nbDimensions, any._nbDimensions, 0 );
        EXPECT_EQ( any._getBox(), box );
        constexpr double epsilon = std::numeric_limits<TypeParam>::epsilon();
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for( const auto& [x, density] : { std::pair( 0.0, 1 ),
                                          { 1 - epsilon, 1 },
                                          { 1.0, 0 },
                                          { -epsilon, 0 },
                                          { nan, 0 } } ) {
            EXPECT_EQ( any._getPdf( x ), density ) << x;
        }
    }
}

TYPED_TEST( RnGeneratorsTest, ATextThatIsNoWholeStateIsRefusedAndChangesNothing ) {
    for( AnyGenerator& any : makeAll<TypeParam>() ) {
        if( !any._getState ) {
            continue;
        }
        any._skip( 5 );
        const std::string state = any._getState();
        const std::size_t colon = state.find( ':' );
        const std::size_t last = state.rfind( ' ' );
        for( const std::string& text :
             { std::string(), state.substr( 0, colon ), state.substr( 0, colon + 1 ),
               state.substr( 0, last ), state + ' ', state + " 1", ' ' + state,
               "x" + state.substr( 1 ), state.substr( 0, last + 1 ) + "-1",
               state.substr( 0, last + 1 ) + "0" + state.substr( last + 1 ),
               state.substr( 0, last + 1 ) + "+1", state.substr( 0, last + 1 ) + "1x",
               state.substr( 0, last ) + "  1",
               state.substr( 0, last + 1 ) + "18446744073709551616", state + '\0',
               state.substr( 0, colon ) + ": 1\n2" } ) {
            EXPECT_THAT( raisedBy<RnEx::ExBadState>( [&] { any._setState( text ); } ),
                         HasSubstr( " is not a state of the generator \"" + any._name + "\"." ) )
                << text;
            EXPECT_EQ( any._getState(), state );
        }
    }
    // In the right form, but of values that the generator never has.
    RnXoshiroUniformRng<TypeParam> xoshiro;
    EXPECT_THROW( xoshiro.setState( "Xoshiro256++: 1 2 3 4 0 0 0 0" ), RnEx::ExBadState );
    RnLecuyerUniformRng<TypeParam> lecuyer;
    for( const char* text : { "Lecuyer: 1 1 0 1", "Lecuyer: 1 1 1 0", "Lecuyer: 2147483563 1 1 1",
                              "Lecuyer: 1 2147483399 1 1", "Lecuyer: 1 1 2147483563 1",
                              "Lecuyer: 1 1 1 2147483399" } ) {
        EXPECT_THROW( lecuyer.setState( text ), RnEx::ExBadState ) << text;
    }
    EXPECT_THROW( RnVanDerCorputRng<TypeParam>().setState( "Van der Corput: 1 0" ),
                  RnEx::ExBadState );
    RnHammersleyBiRng<TypeParam> hammersley( 4 );
    EXPECT_THROW( hammersley.setState( "Hammersley: 0 0 2 0" ), RnEx::ExBadState );
    EXPECT_THROW( hammersley.setState( "Hammersley: 4 4 2 0" ), RnEx::ExBadState );
}

TYPED_TEST( RnGeneratorsTest, StdTakesTheUpper15BitsOfRand ) {
    RnStdUniformRng<TypeParam> generator( 42 );
    const auto values = this->take( generator, 100 );
    std::srand( 42 );
    for( const TypeParam value : values ) {
        EXPECT_EQ( value, static_cast<TypeParam>( ( std::rand() >> 16 ) / 32767.0 ) );
    }
    // Without a seed the system's state stays, until restart() seeds it by 1.
    RnStdUniformRng<TypeParam> unseeded;
    generator.restart();
    EXPECT_EQ( unseeded(), values[0] );
    unseeded.restart();
    RnStdUniformRng<TypeParam> byOne( 1 );
    const TypeParam first = byOne();
    unseeded.restart();
    EXPECT_EQ( unseeded(), first );
}

TYPED_TEST( RnGeneratorsTest, NumericalRecipesGivesTheRecurrencesNumbers ) {
    // Worked out in exact integers: the first six values and the 300th, times 1771875.
    const struct {
        unsigned int _seed;
        std::vector<long> _first;
        long _last;
    } cases[] = { { 0, { 539926, 1241021, 907644, 794991, 954945, 499554 }, 1456855 },
                  { 12345, { 860276, 19394, 1678413, 980103, 1215200, 229078 }, 626630 },
                  { ~0u, { 200391, 1354841, 706015, 665929, 1366572, 906956 }, 1632287 } };
    RnNumRecUniformRng<TypeParam> generator;
    for( const auto& one : cases ) {
        RnNumRecUniformRng<TypeParam> seeded( one._seed );
        generator.restart( one._seed );
        for( int round = 0; round < 2; ++round ) {
            const auto values = this->take( generator, 300 );
            for( std::size_t i = 0; i < 300; i += i < 5 ? 1 : 294 ) {
                EXPECT_EQ( std::lround( values[i] * TypeParam( 1771875 ) ),
                           i < 6 ? one._first[i] : one._last )
                    << one._seed << ' ' << i;
            }
            EXPECT_EQ( this->take( seeded, 300 ), values );
            seeded = generator;
            EXPECT_EQ( this->take( seeded, 300 ), this->take( generator, 300 ) );
            generator.restart();
            seeded.restart();
        }
    }
}

TYPED_TEST( RnGeneratorsTest, LecuyerGivesTheRecurrencesNumbers ) {
    // Worked out in exact integers; the values 1 to 5 and the 1000th, times 2147483563.
    const struct {
        unsigned int _seeds[2];
        std::vector<std::uint32_t> _first;
        std::uint32_t _last;
    } cases[] = {
        { { 0, 0 }, { 1997170115, 1986390560, 1086193005, 2080405339, 974735426 }, 259292448 },
        { { 1, 1 }, { 80705, 1109475497, 1302314465, 164471618, 1385161914 }, 1460986429 },
        { { 12345, 67890 },
          { 1109069310, 977095274, 1100836471, 1947060503, 860891150 },
          1761409898 },
        { { 4294967295u, 4294967295u },
          { 27147701, 543625372, 2081389098, 66568936, 46318695 },
          715377391 },
        // The moduli themselves become 1.
        { { 2147483563, 2147483399 },
          { 80705, 1109475497, 1302314465, 164471618, 1385161914 },
          1460986429 },
        { { 2147483562, 2147483398 },
          { 2147402693, 1038007901, 845168933, 1983011780, 762321484 },
          686496969 } };
    // The number type nearest to 1 / 2147483563.
    const TypeParam factor = std::is_same_v<TypeParam, float> ? TypeParam( 0x1p-31 )
                                                              : TypeParam( 0x1.000000aa00007p-31 );
    for( const auto& one : cases ) {
        RnLecuyerUniformRng<TypeParam> generator( one._seeds[0], one._seeds[1] );
        const auto values = this->take( generator, 1000 );
        for( std::size_t i = 0; i < one._first.size(); ++i ) {
            EXPECT_EQ( values[i], static_cast<TypeParam>( one._first[i] ) * factor );
        }
        EXPECT_EQ( values.back(), static_cast<TypeParam>( one._last ) * factor );
    }
    RnLecuyerUniformRng<TypeParam> far;
    far.skip( 1000000000000007 );
    EXPECT_EQ( far(), static_cast<TypeParam>( 2119204908 ) * factor );
    EXPECT_EQ( RnLecuyerUniformRng<TypeParam>( 55555 )(), RnLecuyerUniformRng<TypeParam>()() );
    // 2147483562 of 2147483563, which as a float is 1.
    RnLecuyerUniformRng<TypeParam> highest;
    highest.setState( "Lecuyer: 1 1 2147483562 1" );
    for( const TypeParam value : this->take( highest, 100000 ) ) {
        ASSERT_TRUE( value > 0 && value < 1 );
    }
}

TYPED_TEST( RnGeneratorsTest, XoshiroGivesItsPublishedNumbersAndStreams ) {
    // By an implementation apart; the leap by the powers of a 256 x 256 matrix.
    const struct {
        std::uint64_t _seed, _first, _third, _thousandth, _jumped, _far;
    } cases[] = { { 0, 0x53175d61490b23df, 0x5c0fdf91ec9a7bfc, 0x376300fa032f6483,
                    0x2107d23f5380538b, 0x263907a4c41d5f7a },
                  { 1, 0xcfc5d07f6f03c29b, 0x19a37d5757aaf520, 0x92d52100f9e1da0d,
                    0xdafd92f1adffc5b9, 0xbc0ac5dd75b43950 },
                  { ~std::uint64_t( 0 ), 0x56ccf8ce948e27b2, 0xe3e9b5a48119ca8b, 0x6e67f58f11f35060,
                    0x8ee9026a76b5ebf2, 0x35bd99ddbfda26c } };
    constexpr int digits = std::numeric_limits<TypeParam>::digits;
    const auto toValue = []( std::uint64_t bits ) {
        return std::ldexp( static_cast<TypeParam>( bits >> ( 64 - digits ) ), -digits );
    };
    for( const auto& one : cases ) {
        RnXoshiroUniformRng<TypeParam> generator( one._seed );
        const auto values = this->take( generator, 1000 );
        EXPECT_EQ( values[0], toValue( one._first ) );
        EXPECT_EQ( values[2], toValue( one._third ) );
        EXPECT_EQ( values[999], toValue( one._thousandth ) );
        generator.restart();
        EXPECT_EQ( generator.nextBits(), one._first );
        generator.restart();
        generator.skip( 1000000000000007 );
        EXPECT_EQ( generator.nextBits(), one._far );
        generator.restart();
        generator.jump();
        EXPECT_EQ( generator.nextBits(), one._jumped );
        generator.restart();
        EXPECT_EQ( generator.nextBits(), one._jumped );
        generator.restart( one._seed );
        EXPECT_EQ( generator.nextBits(), one._first );
    }
    // Single steps and leaps meet.
    for( const std::uint64_t n : { 29999u, 30000u, 30001u, 65536u, 100000u } ) {
        RnXoshiroUniformRng<TypeParam> stepped( 5 );
        for( std::uint64_t i = 0; i < n; ++i ) {
            stepped.nextBits();
        }
        RnXoshiroUniformRng<TypeParam> leapt( 5 );
        leapt.skip( n );
        EXPECT_EQ( leapt.getState(), stepped.getState() ) << n;
    }
}

TYPED_TEST( RnGeneratorsTest, UniformValuesPassTheTestsOfChance ) {
    using T = TypeParam;
    constexpr std::size_t n = 1u << 18;
    RnNumRecUniformRng<T> numRec( 1 );
    RnLecuyerUniformRng<T> lecuyer( 1 );
    RnXoshiroUniformRng<T> xoshiro( 1 );
    std::srand( 1 );
    RnStdUniformRng<T> standard( 1 );
    for( RnRng<T>* generator :
         std::initializer_list<RnRng<T>*>{ &numRec, &lecuyer, &xoshiro, &standard } ) {
        SCOPED_TRACE( generator->getName() );
        std::vector<T> values( n );
        std::vector<int> pairs( 4096 );
        double chiSquare = 0;
        for( std::size_t i = 0; i < n; ++i ) {
            const T value = ( *generator )();
            ASSERT_TRUE( value >= 0 && ( value < 1 || generator == &standard ) );
            values[i] = std::min( value, this->BELOW_ONE );
            if( i % 2 != 0 ) {
                ++pairs[static_cast<std::size_t>( values[i - 1] * 64 ) * 64 +
                        static_cast<std::size_t>( values[i] * 64 )];
            }
        }
        for( const int count : pairs ) {
            chiSquare += ( count - 32.0 ) * ( count - 32.0 ) / 32;
        }
        // Five standard deviations of the chi-square distribution with 4095 degrees of freedom.
        EXPECT_NEAR( chiSquare, 4095, 5 * std::sqrt( 2 * 4095.0 ) );
        EXPECT_LT( this->distance( values, []( double x ) { return x; } ), 2.7 );
        this->expectMoments( values, { 1 / 2.0, 1 / 3.0, 1 / 4.0, 1 / 5.0 },
                             { 1 / 12.0, 4 / 45.0, 9 / 112.0, 16 / 225.0 } );
    }
}

} // namespace
} // namespace Qv
