#include <resmgt/random/rnNumRecUniformRng.h>

#include <gmock/gmock.h>

#include <cmath>
#include <vector>

namespace Qv {
namespace {

template <class T>
class RnNumRecUniformRngTest : public ::testing::Test {
protected:
    // The next values as numerators of n / 1771875.
    static std::vector<long> take( RnRng<T>& generator, unsigned int n ) {
        std::vector<T> values( n );
        generator.getSequence( n, values.data() );
        std::vector<long> result;
        for( T value : values ) {
            result.push_back( std::lround( value * T( 1771875 ) ) );
        }
        return result;
    }
};

using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE( RnNumRecUniformRngTest, Types );

TYPED_TEST( RnNumRecUniformRngTest, ASeedAlwaysGivesTheSameNumbers ) {
    // Worked out from the recurrence in exact integers: the first six values, and the 300th.
    const struct {
        unsigned int _seed;
        std::vector<long> _first;
        long _last;
    } cases[] = {
        { 0, { 539926, 1241021, 907644, 794991, 954945, 499554 }, 1456855 },
        { 12345, { 860276, 19394, 1678413, 980103, 1215200, 229078 }, 626630 },
        { 0xffffffffu, { 200391, 1354841, 706015, 665929, 1366572, 906956 }, 1632287 },
    };
    for( const auto& one : cases ) {
        RnNumRecUniformRng<TypeParam> generator( one._seed );
        EXPECT_EQ( this->take( generator, 6 ), one._first ) << one._seed;
        EXPECT_EQ( this->take( generator, 294 ).back(), one._last ) << one._seed;
    }
}

TYPED_TEST( RnNumRecUniformRngTest, AllWaysToStartAndToTakeAValueGiveOneSequence ) {
    RnNumRecUniformRng<TypeParam> generator( 3 );
    const auto ofSeed3 = this->take( generator, 300 );
    RnNumRecUniformRng<TypeParam> copy( generator );
    EXPECT_EQ( this->take( copy, 300 ), this->take( generator, 300 ) );
    RnNumRecUniformRng<TypeParam> other;
    other.restart( 3 );
    EXPECT_EQ( this->take( other, 300 ), ofSeed3 );
    other.restart();
    EXPECT_EQ( this->take( other, 300 ), ofSeed3 );
    generator.restart();
    copy.restart();
    TypeParam values[2];
    values[0] = generator();
    generator.getSample( values[1] );
    for( const TypeParam value : values ) {
        TypeParam same = 0;
        copy.getSequence( 1, &same );
        EXPECT_EQ( value, same );
    }
}

TYPED_TEST( RnNumRecUniformRngTest, TheUnitIntervalIsFilledEvenlyAndNeverLeft ) {
    RnNumRecUniformRng<TypeParam> generator( 1 );
    constexpr int nbSamples = 200000;
    std::vector<int> counts( 100 );
    for( int i = 0; i < nbSamples; ++i ) {
        const TypeParam value = generator();
        ASSERT_GE( value, 0 );
        ASSERT_LT( value, 1 );
        ++counts[static_cast<std::size_t>( value * 100 )];
    }
    // Six standard deviations of a fair count.
    EXPECT_THAT( counts, ::testing::Each( ::testing::AllOf( ::testing::Gt( 2000 - 268 ),
                                                            ::testing::Lt( 2000 + 268 ) ) ) );
}

} // namespace
} // namespace Qv
