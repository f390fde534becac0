#include <base/values/rational.h>
#include <base/values/rationalEx.h>
#include <base/values/rationalUtil.h>
#include <tests/support/testSettings.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace Qv {

namespace {

__extension__ typedef __int128 Int128;

constexpr int MIN = std::numeric_limits<int>::min();
constexpr int MAX = std::numeric_limits<int>::max();

/// Where a fraction stands: malformed, minus infinity, a number, or infinity.
int rankOf( const Rational& value ) {
    const int numerator = value.getNumerator();
    return value.getDenominator() != 0 ? 0 : numerator == 0 ? -2 : numerator < 0 ? -1 : 1;
}

/// -1, 0 or 1.
int referenceOrder( const Rational& a, const Rational& b ) {
    if( rankOf( a ) != 0 || rankOf( b ) != 0 ) {
        return ( rankOf( a ) > rankOf( b ) ) - ( rankOf( a ) < rankOf( b ) );
    }
    const bool isFlipped = ( a.getDenominator() < 0 ) != ( b.getDenominator() < 0 );
    const Int128 left = Int128( a.getNumerator() ) * b.getDenominator();
    const Int128 right = Int128( b.getNumerator() ) * a.getDenominator();
    return isFlipped ? ( left < right ) - ( left > right ) : ( left > right ) - ( left < right );
}

int order( const Rational& a, const Rational& b ) {
    EXPECT_EQ( a == b, !( a != b ) );
    EXPECT_LE( ( a < b ) + ( b < a ) + ( a == b ), 1 );
    return a < b ? -1 : a == b ? 0 : 1;
}

std::string toString( const Rational& value ) {
    return std::to_string( value.getNumerator() ) + "/" + std::to_string( value.getDenominator() );
}

} // namespace

TEST( RationalTest, OrderIsThatOfTheValuesWithZeroDenominatorsBeyondAllNumbers ) {
    std::mt19937_64 random( testSeed() );
    const std::vector<int> extremes{ MIN, MIN + 1, MIN / 2, -2,      -1, 0,
                                     1,   2,       MAX / 2, MAX - 1, MAX };
    const auto part = [&] {
        const auto bits = static_cast<int>( random() >> ( 32 + random() % 32 ) );
        return random() % 4 == 0 ? extremes[random() % extremes.size()]
                                 : ( random() % 2 == 0 ? bits : -bits );
    };
    std::vector<Rational> all;
    for( const int numerator : extremes ) {
        for( const int denominator : extremes ) {
            all.emplace_back( numerator, denominator );
        }
    }
    const auto expectOrder = []( const Rational& a, const Rational& b ) {
        ASSERT_EQ( order( a, b ), referenceOrder( a, b ) ) << toString( a ) << " " << toString( b );
    };
    for( const Rational& a : all ) {
        for( const Rational& b : all ) {
            expectOrder( a, b );
        }
    }
    for( long i = scaledCount( 500'000 ); i > 0; --i ) {
        expectOrder( Rational( part(), part() ), Rational( part(), part() ) );
    }
}

TEST( RationalUtilTest, ReadsDecimalNumbersExactlyOrAsTheNearestFraction ) {
    const std::tuple<const char*, int, int> cases[] = {
        { "-1.50", -3, 2 },
        { "+.5", 1, 2 },
        { "7.", 7, 1 },
        { "-0.000", 0, 1 },
        { "4.8E+4", 48000, 1 },
        { "1e-9", 1, 1000000000 },
        { "2147483647", MAX, 1 },
        { "-2147483647", -MAX, 1 },
        { "25.000000000000000000000000000", 25, 1 },
        { "250000000000000000000000000e-25", 25, 1 },
        { "1e-99999999999999999999", 0, 1 },
        { "0e99999999999999999999", 0, 1 },
        // What follows doesn't fit; found by trying all denominators.
        { "0.123456789012345678", 97393689, 788888888 },
        { "1234567.891234567", 1929629614, 1563 },
        { "4.7e-10", 1, 2127659574 },
        { "0.0000000003", 1, MAX },
        { "0.0000000002", 0, 1 },
        { "2147483646.7", MAX, 1 },
    };
    for( const auto& [text, numerator, denominator] : cases ) {
        EXPECT_EQ( toString( RationalUtil::fromFloatString( text ) ),
                   toString( Rational( numerator, denominator ) ) )
            << text;
    }
}

TEST( RationalUtilTest, EveryFractionComesBackFromItsDecimals ) {
    std::mt19937_64 random( testSeed() );
    for( long i = scaledCount( 50'000 ); i > 0; --i ) {
        const int denominator = static_cast<int>( random() % 30'000 ) + 1;
        const int numerator = static_cast<int>( random() ) % ( 4 * denominator );
        // Less than an error of 1e-14 distinguishes fractions of this size from all others.
        char text[64];
        std::snprintf( text, sizeof( text ), "%.17f",
                       static_cast<double>( numerator ) / denominator );
        const Rational read = RationalUtil::fromFloatString( text );
        ASSERT_EQ( read, Rational( numerator, denominator ) ) << text << " " << toString( read );
    }
}

TEST( RationalUtilTest, ReadsFractionsAsTheyAreWritten ) {
    const auto expectRead = []( const char* text, char separator, const char* expected ) {
        EXPECT_EQ( toString( RationalUtil::fromFractionString( text, separator ) ), expected );
    };
    expectRead( "50/2", '/', "50/2" );
    expectRead( "16:9", ':', "16/9" );
    expectRead( "+1/-2", '/', "1/-2" );
    expectRead( "-4--2", '-', "-4/-2" );
    expectRead( "-2147483648/2147483647", '/', "-2147483648/2147483647" );
}

TEST( RationalUtilTest, RefusesMalformedTextsAndNumbersOutOfRange ) {
    EXPECT_THROW( RationalUtil::fromFloatString( nullptr ), RationalEx::ExBadFormat );
    for( const char* text :
         { "",   "-",  "+",   ".",     "-.",  "e5",   ".e5", "1e",  "1e+", "1e5.0",
           " 1", "1 ", "1,5", "1.5.2", "--1", "0x10", "inf", "nan", "1f",  "1_0" } ) {
        EXPECT_THROW( RationalUtil::fromFloatString( text ), RationalEx::ExBadFormat ) << text;
    }
    for( const char* text : { "2147483648", "-2147483648", "2147483647.1", "1e10",
                              "1e99999999999999999999", "123456789012345678901234567890" } ) {
        EXPECT_THROW( RationalUtil::fromFloatString( text ), RationalEx::ExOutOfRange ) << text;
    }
    const auto readFraction = []( const char* text ) {
        RationalUtil::fromFractionString( text, '/' );
    };
    for( const char* text : { static_cast<const char*>( nullptr ), "", "/", "1", "1/", "/2", "1/0",
                              "1/2/3", "1 /2", "1/ 2", "1:2", "1.0/2", "+-1/2", "a/2", "1/2 " } ) {
        EXPECT_THROW( readFraction( text ), RationalEx::ExBadFormat ) << text;
    }
    for( const char* text : { "2147483648/1", "1/-2147483649", "99999999999999999999/1" } ) {
        EXPECT_THROW( readFraction( text ), RationalEx::ExOutOfRange ) << text;
    }
}

} // namespace Qv
