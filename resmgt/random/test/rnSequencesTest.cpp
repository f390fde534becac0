#include <resmgt/random/rnHammersleyBiRng.h>
#include <resmgt/random/rnNiederreiterMultiRng.h>
#include <resmgt/random/rnScrambledMultiRng.h>
#include <resmgt/random/test/rnTestBase.h>

#include <cstdint>
#include <numeric>
#include <type_traits>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

template <class T>
class RnSequencesTest : public RnTestBase<T> {};

TYPED_TEST_SUITE( RnSequencesTest, RnTypes );

TYPED_TEST( RnSequencesTest, RadicalInversesMirrorTheDigitsAndStayBelowOne ) {
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
        EXPECT_THAT( this->assertionOf( [base] { RnVanDerCorputRng<T> bad( base ); } ),
                     HasSubstr( "base >= 2" ) );
    }
}

TYPED_TEST( RnSequencesTest, HaltonAndHammersleyHaveTheirBasesAndLengths ) {
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
    EXPECT_THAT( this->assertionOf( [&] { takeMany<T>( hammersley, 5, 2 ); } ),
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

TYPED_TEST( RnSequencesTest, NiederreiterAndItsScrambledFormGiveTheNumbersOfTheirTables ) {
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

TYPED_TEST( RnSequencesTest, AlignedBlocksPutAsManyPointsIntoEveryElementaryBox ) {
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

TYPED_TEST( RnSequencesTest, SeedsOfNeighboursScrambleIndependently ) {
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
