#include <resmgt/random/rnEx.h>
#include <resmgt/random/rnHaltonBiRng.h>
#include <resmgt/random/rnHammersleyBiRng.h>
#include <resmgt/random/rnLecuyerUniformRng.h>
#include <resmgt/random/rnNiederreiterMultiRng.h>
#include <resmgt/random/rnNumRecUniformRng.h>
#include <resmgt/random/rnScrambledMultiRng.h>
#include <resmgt/random/rnStdUniformRng.h>
#include <resmgt/random/rnXoshiroUniformRng.h>

#include <base/failure/assertions.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

template <class T>
class RnGeneratorsTest : public ::testing::Test {
protected:
    static constexpr T BELOW_ONE = T( 1 ) - std::numeric_limits<T>::epsilon() / 2;

    static std::vector<T> take( RnRng<T>& generator, unsigned int n ) {
        std::vector<T> values( n );
        generator.getSequence( n, values.data() );
        return values;
    }
};

using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE( RnGeneratorsTest, Types );

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

template <class T, class Multi>
std::vector<std::vector<double>> takeMany( Multi& generator, unsigned int n, std::size_t dims ) {
    std::vector<std::vector<T>> arrays( dims, std::vector<T>( n ) );
    T* pointers[4] = {};
    for( std::size_t d = 0; d < dims; ++d ) {
        pointers[d] = arrays[d].data();
    }
    if constexpr( requires { generator.getSequence( n, pointers[0] ); } ) {
        generator.getSequence( n, pointers[0] );
    } else if constexpr( requires { generator.getSequence( n, pointers[0], pointers[1] ); } ) {
        generator.getSequence( n, pointers[0], pointers[1] );
    } else {
        generator.getSequence( n, pointers );
    }
    std::vector<std::vector<double>> points( n, std::vector<double>( dims ) );
    for( std::size_t i = 0; i < n; ++i ) {
        for( std::size_t d = 0; d < dims; ++d ) {
            points[i][d] = arrays[d][i];
        }
    }
    return points;
}

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

TYPED_TEST( RnGeneratorsTest, RadicalInversesMirrorTheDigitsAndStayBelowOne ) {
    using T = TypeParam;
    RnVanDerCorputRng<T> two;
    EXPECT_THAT( this->take( two, 5 ),
                 ElementsAre( T( 0.5 ), T( 0.25 ), T( 0.75 ), T( 0.125 ), T( 0.625 ) ) );
    RnVanDerCorputRng<T> three( 3 );
    const T third = T( 1 ) / 3;
    EXPECT_THAT( this->take( three, 3 ), ElementsAre( third, 2 * third, third * third ) );
    for( const unsigned int base : { 2u, 3u, 5u, 7u, 10u, 13u, 4294967295u } ) {
        RnVanDerCorputRng<T> generator( base );
        // All digits are the highest there: the sum rounds to 1, or above.
        for( std::uint64_t power = base; power <= 0x100000000; power *= base ) {
            generator.restart( static_cast<unsigned int>( power - 2 ) );
            const T value = generator();
            EXPECT_LT( value, 1 ) << base << ' ' << power;
            EXPECT_GE( value, 1 - T( 2 ) / static_cast<T>( power ) - T( 1e-6 ) ) << base;
        }
        generator.restart( 0xfffffffe );
        generator();
        EXPECT_EQ( generator(), 0 ) << "the index has wrapped";
        EXPECT_GT( generator(), 0 );
    }
    for( const unsigned int base : { 0u, 1u } ) {
        EXPECT_THAT( raisedBy<ExAssertionFailed>( [base] { RnVanDerCorputRng<T> bad( base ); } ),
                     HasSubstr( "base >= 2" ) );
    }
}

TYPED_TEST( RnGeneratorsTest, HaltonAndHammersleyHaveTheirBasesAndLengths ) {
    using T = TypeParam;
    T point[4] = {};
    RnHaltonMultiRng<T, 4> halton;
    halton.getSample( point );
    EXPECT_THAT( point, ElementsAre( T( 0.5 ), T( 1 ) / 3, T( 1 ) / 5, T( 1 ) / 7 ) );
    const unsigned int bases[] = { 11, 10, 3, 2 };
    halton.setPrimeNumbers( bases );
    halton.getSample( point );
    EXPECT_THAT( point, ElementsAre( 2 * ( T( 1 ) / 11 ), 2 * ( T( 1 ) / 10 ), 2 * ( T( 1 ) / 3 ),
                                     T( 0.25 ) ) )
        << "the counters go on";
    const unsigned int bad[] = { 2, 3, 5, 1 };
    EXPECT_THROW( halton.setPrimeNumbers( bad ), ExAssertionFailed );
    unsigned int kept[4] = {};
    halton.getPrimeNumbers( kept );
    EXPECT_THAT( kept, ::testing::ElementsAreArray( bases ) );
    halton.restart( 7 );
    halton.getSample( point );
    EXPECT_EQ( point[3], T( 1 ) / 16 );
    RnHaltonBiRng<T> pair( 2, 5 );
    pair.restart( 1 );
    pair.getSample( point[0], point[1] );
    EXPECT_EQ( point[0], T( 0.25 ) );
    EXPECT_EQ( point[1], 2 * ( T( 1 ) / 5 ) );

    RnHammersleyMultiRng<T, 2> hammersley( 4 );
    const T firsts[] = { T( 0.125 ), T( 0.375 ), T( 0.625 ), T( 0.875 ), T( 0.125 ) };
    const T seconds[] = { T( 0.5 ), T( 0.25 ), T( 0.75 ), T( 0.125 ), T( 0.625 ) };
    for( int i = 0; i < 5; ++i ) {
        hammersley.getSample( point );
        EXPECT_EQ( point[0], firsts[i] ) << i;
        EXPECT_EQ( point[1], seconds[i] ) << i;
    }
    // A sequence begins at the index 0 and leaves the single points' index at 1.
    EXPECT_EQ( takeMany<T>( hammersley, 3, 2 )[2][0], 0.625 );
    hammersley.getSample( point );
    EXPECT_EQ( point[0], T( 0.375 ) );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { takeMany<T>( hammersley, 5, 2 ); } ),
                 HasSubstr( "n <= _length" ) );
    EXPECT_THROW( ( RnHammersleyMultiRng<T, 3>( 0 ) ), ExAssertionFailed );
    EXPECT_THROW( ( RnHammersleyBiRng<T>( 3, bad + 3 ) ), ExAssertionFailed );
    RnHammersleyMultiRng<T, 2> huge( 0xffffffff );
    huge.skip( 0xfffffffe );
    huge.getSample( point );
    EXPECT_EQ( point[0], std::min( this->BELOW_ONE, T( 4294967294.5 / 4294967295.0 ) ) );
    huge.getSample( point );
    EXPECT_EQ( point[0], T( 0.5 / 4294967295.0 ) ) << "the index has wrapped";
}

TYPED_TEST( RnGeneratorsTest, NiederreiterAndItsScrambledFormGiveTheNumbersOfTheirTables ) {
    // Worked out apart from the recurrences: coordinates times 2^31.
    const struct {
        std::uint32_t _counter;
        std::uint32_t _point[4];
    } cases[] = { { 0, { 262144, 1145307136, 1614675968, 1548156928 } },
                  { 1, { 1074003968, 71565312, 4063232, 742850560 } },
                  { 2, { 537133056, 608436224, 675151872, 1044840448 } },
                  { 100000, { 45400064, 1376501760, 448741376, 1385472 } },
                  // The last index but 2^31, the largest of all.
                  { 4294963199u, { 2147483647, 2147483647, 1728083831, 1409786795 } },
                  { 4294967295u, { 2146959360, 143130624, 6946816, 1681522688 } } };
    using T = TypeParam;
    RnNiederreiterMultiRng<T> generator;
    T point[4];
    const auto expectPoint = [&]( const std::uint32_t( &integers )[4], double step ) {
        for( int d = 0; d < 4; ++d ) {
            EXPECT_EQ( point[d],
                       std::min( static_cast<T>( integers[d] * step ), this->BELOW_ONE ) );
        }
    };
    for( const auto& one : cases ) {
        generator.restart();
        generator.skip( one._counter );
        generator.getSample( point );
        expectPoint( one._point, 0x1p-31 );
    }
    generator.getSample( point );
    expectPoint( cases[0]._point, 0x1p-31 );
    // Over the wrapped index, in blocks and singly.
    RnNiederreiterMultiRng<T> single;
    single.skip( 4294963200u - 40 );
    generator.setState( single.getState() );
    for( const auto& expected : takeMany<T>( generator, 100, 4 ) ) {
        single.getSample( point );
        ASSERT_EQ( std::vector<double>( point, point + 4 ), expected );
    }

    const struct {
        std::uint32_t _index, _seed;
        std::uint32_t _point[4];
    } scrambled[] = {
        { 0, 0, { 312704601, 2301496607, 2440911651, 732231153 } },
        { 1, 0, { 2807451608, 421291319, 588743484, 2550201100 } },
        { 123456789, 0xffffffff, { 2316764611, 3582556325, 4061347868, 3519477893 } } };
    for( const auto& one : scrambled ) {
        RnScrambledMultiRng<T> byIndex( one._seed );
        byIndex.getPoint( one._index, point );
        for( int d = 0; d < 4; ++d ) {
            // A float has the upper 24 bits, unrounded: rounding would lead into other boxes.
            const std::uint32_t mask = std::is_same_v<T, float> ? 0xffffff00 : 0xffffffff;
            EXPECT_EQ( point[d], ( one._point[d] & mask ) * 0x1p-32 );
        }
        const std::vector<T> byIndexOnly( point, point + 4 );
        byIndex.skip( one._index );
        byIndex.getSample( point );
        EXPECT_THAT( point, ::testing::ElementsAreArray( byIndexOnly ) );
    }
}

// How many points each box holds, of the cube cut into 2^cuts[d] parts in each dimension.
std::vector<int> countBoxes( const std::vector<std::vector<double>>& points,
                             const int ( &cuts )[4] ) {
    std::vector<int> counts( std::size_t( 1 ) << std::accumulate( cuts, cuts + 4, 0 ) );
    for( const auto& point : points ) {
        std::size_t box = 0;
        for( std::size_t d = 0; d < 4; ++d ) {
            const auto part = static_cast<std::size_t>( std::ldexp( point[d], cuts[d] ) );
            box = ( box << cuts[d] ) | part;
        }
        ++counts[box];
    }
    return counts;
}

bool holdsInEach( int expected, const std::vector<int>& counts ) {
    return std::count( counts.begin(), counts.end(), expected ) == std::ssize( counts );
}

// All ways to cut `nbDimensions` dimensions `total` times.
void forEachCut( int total, int nbDimensions,
                 const std::function<void( const int ( & )[4] )>& visit ) {
    for( int a = 0; a <= total; ++a ) {
        for( int b = 0; a + b <= total; ++b ) {
            for( int c = 0; a + b + c <= total; ++c ) {
                const int cuts[4] = { a, b, c, total - a - b - c };
                if( nbDimensions == 4 || ( cuts[2] == 0 && cuts[3] == 0 ) ) {
                    visit( cuts );
                }
            }
        }
    }
}

TYPED_TEST( RnGeneratorsTest, AlignedBlocksPutAsManyPointsIntoEveryElementaryBox ) {
    RnNiederreiterMultiRng<TypeParam> plain;
    RnScrambledMultiRng<TypeParam> scrambled( 4711 );
    for( RnMultiRng<TypeParam, 4>* generator :
         std::initializer_list<RnMultiRng<TypeParam, 4>*>{ &plain, &scrambled } ) {
        for( int m = 0; m <= 12; ++m ) {
            plain.restart();
            plain.skip( std::uint64_t( 3 ) << m );
            scrambled.restart();
            scrambled.skip( std::uint64_t( 5 ) << m );
            const auto points = takeMany<TypeParam>( *generator, 1u << m, 4 );
            forEachCut( m - 3, 4, [&]( const int( &cuts )[4] ) {
                EXPECT_TRUE( holdsInEach( 8, countBoxes( points, cuts ) ) ) << m;
            } );
            forEachCut( m, 2, [&]( const int( &cuts )[4] ) {
                EXPECT_TRUE( holdsInEach( 1, countBoxes( points, cuts ) ) ) << m;
            } );
        }
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
        std::vector<double> values( n );
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
        std::sort( values.begin(), values.end() );
        double distance = 0;
        double sums[4] = {};
        for( std::size_t i = 0; i < n; ++i ) {
            distance = std::max( distance, std::abs( values[i] - ( double( i ) + 0.5 ) / n ) );
            double power = 1;
            for( double& sum : sums ) {
                sum += power *= values[i];
            }
        }
        // Kolmogorov and Smirnov: more is seen once in a million times.
        EXPECT_LT( distance * std::sqrt( double( n ) ), 2.7 );
        for( int k = 0; k < 4; ++k ) {
            const double power = k + 1;
            const double variance = 1 / ( 2 * power + 1 ) - 1 / ( ( power + 1 ) * ( power + 1 ) );
            EXPECT_NEAR( sums[k] / n, 1 / ( power + 1 ), 5 * std::sqrt( variance / n ) ) << k;
        }
    }
}

TYPED_TEST( RnGeneratorsTest, SeedsOfNeighboursScrambleIndependently ) {
    // One point of 65536 pixels: evenly spread, and unrelated between neighbours and dimensions.
    constexpr std::uint32_t n = 65536;
    double sums[4] = {};
    double neighbours = 0;
    double dimensions = 0;
    TypeParam before[4] = {};
    for( std::uint32_t seed = 0; seed < n; ++seed ) {
        TypeParam point[4];
        RnScrambledMultiRng<TypeParam>( seed ).getPoint( 37, point );
        for( int d = 0; d < 4; ++d ) {
            sums[d] += point[d] - 0.5;
        }
        neighbours += ( point[0] - 0.5 ) * ( before[0] - 0.5 );
        dimensions += ( point[0] - 0.5 ) * ( point[1] - 0.5 );
        std::copy_n( point, 4, before );
    }
    for( const double sum : sums ) {
        EXPECT_LT( std::abs( sum ), 5 * std::sqrt( n / 12.0 ) );
    }
    EXPECT_LT( std::abs( neighbours ), 5 * std::sqrt( double( n ) ) / 12 );
    EXPECT_LT( std::abs( dimensions ), 5 * std::sqrt( double( n ) ) / 12 );
}

} // namespace
} // namespace Qv
