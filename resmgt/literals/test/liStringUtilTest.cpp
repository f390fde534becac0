#include <base/text/wideStringUtil.h>
#include <base/values/rationalEx.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace Qv {
namespace {

using ::testing::HasSubstr;

// "Grün" and a byte that is no UTF-8.
const std::string umlaut = "Gr\xc3\xbcn\xff";

template <class T>
constexpr T largest = std::numeric_limits<T>::max();
template <class T>
constexpr T lowest = std::numeric_limits<T>::lowest();

TEST( LiStringUtilTest, NumbersBecomeTheirShortestText ) {
    EXPECT_EQ( LiStringUtil::convertNb( lowest<long long> ), "-9223372036854775808" );
    EXPECT_EQ( LiStringUtil::convertNb( largest<unsigned long long> ), "18446744073709551615" );
    EXPECT_EQ( LiStringUtil::convertNb( 0.1f ), "0.1" );
    EXPECT_EQ( LiStringUtil::convertNb( -1e20 ), "-1e+20" );
    EXPECT_EQ( LiStringUtil::convertNbW( -12 ), L"-12" );
}

template <class... Int>
void expectEveryInteger() {
    const auto expectText = []( auto number ) {
        EXPECT_EQ( LiStringUtil::convertNb( number ), std::to_string( number ) );
        EXPECT_EQ( LiStringUtil::convertNbW( number ), std::to_wstring( number ) );
    };
    ( ( expectText( largest<Int> ), expectText( lowest<Int> ) ), ... );
}

TEST( LiStringUtilTest, IntegersOfEachTypeBecomeText ) {
    expectEveryInteger<signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                       unsigned long, long long, unsigned long long, char, bool, std::int64_t,
                       std::uint64_t, std::size_t, std::ptrdiff_t>();
}

TEST( LiStringUtilTest, EveryFloatingPointNumberSurvivesItsText ) {
    const auto expectDouble = []( double number ) {
        if( std::isfinite( number ) ) {
            ASSERT_EQ( LiStringUtil::convertToDouble( LiStringUtil::convertNb( number ) ), number );
        }
    };
    std::mt19937_64 random( testSeed() );
    for( long i = 0; i < scaledCount( 20000 ) && !::testing::Test::HasFailure(); ++i ) {
        expectDouble( std::bit_cast<double>( random() ) );
        const auto single = std::bit_cast<float>( static_cast<std::uint32_t>( random() ) );
        if( std::isfinite( single ) ) {
            ASSERT_EQ( LiStringUtil::convertToFloatW( LiStringUtil::convertNbW( single ) ),
                       single );
        }
    }
    for( const double number :
         { lowest<double>, largest<double>, -0., std::numeric_limits<double>::denorm_min() } ) {
        expectDouble( number );
    }
}

TEST( LiStringUtilTest, TextIsANumberWithBlanksAroundIt ) {
    EXPECT_EQ( LiStringUtil::convertToInt( " \t-2147483648\n" ), lowest<int> );
    EXPECT_EQ( LiStringUtil::convertToInt( "+7" ), 7 );
    EXPECT_EQ( LiStringUtil::convertToUInt( "4294967295" ), largest<unsigned int> );
    EXPECT_EQ( LiStringUtil::convertToLong( "-9223372036854775808" ), lowest<long long> );
    EXPECT_EQ( LiStringUtil::convertToULong( "18446744073709551615" ),
               largest<unsigned long long> );
    EXPECT_EQ( LiStringUtil::convertToDouble( " -.5 " ), -.5 );
    EXPECT_EQ( LiStringUtil::convertToIntW( L" 12 " ), 12 );
    EXPECT_EQ( LiStringUtil::convertToULongW( L"12" ), 12u );
    EXPECT_EQ( LiStringUtil::convertToDoubleW( L"1.5" ), 1.5 );
    EXPECT_EQ( LiStringUtil::convertToRational( " 30000/1001 " ), Rational( 30000, 1001 ) );
}

TEST( LiStringUtilTest, TextThatIsNoNumberIsQuotedInTheError ) {
    using Conversion = std::function<void( const std::string& )>;
    const Conversion conversions[] = {
        &LiStringUtil::convertToInt,      &LiStringUtil::convertToUInt,
        &LiStringUtil::convertToLong,     &LiStringUtil::convertToULong,
        &LiStringUtil::convertToFloat,    &LiStringUtil::convertToDouble,
        &LiStringUtil::convertToRational,
    };
    const auto expectRefused = []( const Conversion& convert, const std::string& text ) {
        try {
            convert( text );
            ADD_FAILURE() << text << " was taken";
        } catch( const LiEx::ExConversionError& exception ) {
            EXPECT_THAT( exception.getReason(), HasSubstr( '"' + text + '"' ) );
        }
    };
    for( const char* text :
         { "", " ", "abc", "12abc", "1 2", "+-1", "--1", "1,5", "0x10", "1e999", "inf", "-INF",
           "infinity", "nan", "+NaN", "nan(1)", "0x1p3", "1d", "1f" } ) {
        for( const Conversion& convert : conversions ) {
            expectRefused( convert, text );
        }
    }
    const std::pair<std::size_t, const char*> outOfRange[] = {
        { 0, "2147483648" },
        { 0, "-2147483649" },
        { 1, "4294967296" },
        { 1, "-1" },
        { 2, "9223372036854775808" },
        { 3, "18446744073709551616" },
        { 3, "-1" },
        { 4, "1e39" },
        { 5, "1e-999" },
        { 6, "1/0" },
        { 6, "2147483648/1" },
    };
    for( const auto& [conversion, text] : outOfRange ) {
        expectRefused( conversions[conversion], text );
    }
    for( const Conversion& convert : conversions ) {
        EXPECT_THROW( convert( std::string( "1\0", 2 ) ), LiEx::ExConversionError );
    }
    EXPECT_THROW( LiStringUtil::convertToIntW( L"1\x661" ), LiEx::ExConversionError );
}

TEST( LiStringUtilTest, NoMessageCutsACharacterInTwo ) {
    const auto expectWhole = []( const auto& exception ) {
        const std::wstring reason = WideStringUtil::widen( exception.getReason() );
        const auto isPart = []( wchar_t c ) { return c >= 0xdc80 && c <= 0xdcff; };
        EXPECT_TRUE( std::ranges::none_of( reason, isPart ) ) << exception.getReason();
        EXPECT_EQ( reason.back(), L'.' ) << exception.getReason();
        EXPECT_LT( reason.size(), 400 );
    };
    for( std::size_t i = 0; i < 4; ++i ) {
        std::string text( i, 'x' );
        for( int j = 0; j < 100; ++j ) {
            text += "\xf0\x9f\x8e\xac";
        }
        expectWhole( LiEx::ExBadRate( "", 1, text.c_str(), "is none" ) );
        expectWhole( LiEx::ExBadTimeCode( "", 1, text, text, i, "is none" ) );
        expectWhole( LiEx::ExConversionError( "", 1, text.c_str(), "a number" ) );
        expectWhole( RationalEx::ExBadFormat( "", 1, text.c_str(), "a number" ) );
        expectWhole( RationalEx::ExOutOfRange( "", 1, text.c_str() ) );
    }
    // What isn't UTF-8 is cut somewhere.
    std::string quoted( 122, '?' );
    quoted.front() = quoted.back() = '"';
    EXPECT_THAT( LiEx::ExBadTimeCode( "", 1, std::string( 200, '\x80' ), "", 0, "" ).getReason(),
                 HasSubstr( quoted ) );
    EXPECT_THAT( LiEx::ExBadRate( "", 1, "a\nb", "is none" ).getReason(), HasSubstr( "\"a?b\"" ) );
}

TEST( LiStringUtilTest, CaseOfNarrowTextIsThatOfAscii ) {
    EXPECT_EQ( LiStringUtil::toLowerCase( "AZ[az " + umlaut ), "az[az gr\xc3\xbcn\xff" );
    EXPECT_EQ( LiStringUtil::toUpperCase( "AZ{az " + umlaut ), "AZ{AZ GR\xc3\xbcN\xff" );
    EXPECT_EQ( LiStringUtil::toMixedCase( "the qUICK\tbROWN  4x4 FOX-hunt" ),
               "The Quick\tBrown  4x4 Fox-hunt" );
    EXPECT_EQ( LiStringUtil::toLowerCaseW( L"AbC" ), L"abc" );
    EXPECT_EQ( LiStringUtil::toMixedCaseW( L" tWO wORDS" ), L" Two Words" );
}

TEST( LiStringUtilTest, ComparesWithoutCase ) {
    EXPECT_EQ( LiStringUtil::compareNoCase( "Tile_A", "tILE_a" ), 0 );
    EXPECT_LT( LiStringUtil::compareNoCase( "a", "B" ), 0 );
    EXPECT_GT( LiStringUtil::compareNoCase( "Ab", "a" ), 0 );
    EXPECT_LT( LiStringUtil::compareNoCase( "z", "\xc3\xbc" ), 0 );
    EXPECT_GT( LiStringUtil::compareNoCaseW( L"b", L"A" ), 0 );
}

TEST( LiStringUtilTest, TrimmingTakesTheBlanksOfAscii ) {
    const std::string text = " \t\xc2\xa0 x y\n\v\f\r ";
    EXPECT_EQ( LiStringUtil::trimLeadingSpaces( text ), "\xc2\xa0 x y\n\v\f\r " );
    EXPECT_EQ( LiStringUtil::trimTrailingSpaces( text ), " \t\xc2\xa0 x y" );
    EXPECT_EQ( LiStringUtil::trimLeadingAndTrailingSpaces( text ), "\xc2\xa0 x y" );
    EXPECT_EQ( LiStringUtil::trimLeadingAndTrailingSpaces( " \n " ), "" );
    EXPECT_EQ( LiStringUtil::trimLeadingAndTrailingSpacesW( L" x " ), L"x" );
}

TEST( LiStringUtilTest, SubstitutesEveryOccurrenceOnce ) {
    const struct {
        std::string _text, _from, _to, _expected;
    } cases[] = {
        { "a-b-c", "-", "--", "a--b--c" }, { "aaa", "aa", "b", "ba" }, { "abc", "", "x", "abc" },
        { "abc", "abc", "", "" },          { "", "a", "b", "" },
    };
    for( const auto& one : cases ) {
        std::string text = one._text;
        LiStringUtil::substitute( text, one._from, one._to );
        EXPECT_EQ( text, one._expected ) << one._text;
    }
    std::string own = "ab";
    LiStringUtil::substitute( own, own, own );
    EXPECT_EQ( own, "ab" );
    std::wstring wide = L"x.y.";
    LiStringUtil::substituteW( wide, L".", L"::" );
    EXPECT_EQ( wide, L"x::y::" );
    EXPECT_EQ( LiStringUtil::escapeBackslashes( "C:\\a\\\\b" ), "C:\\\\a\\\\\\\\b" );
}

TEST( LiStringUtilTest, SanitisingReplacesWholeCharacters ) {
    EXPECT_EQ( LiStringUtil::sanitise( " a/b" + umlaut, "/x" ), " a_b" + umlaut );
    EXPECT_EQ( LiStringUtil::sanitise( "\xc3\xbc\xc3\xa4", "\xc3\xbc" ), "_\xc3\xa4" );
    EXPECT_EQ( LiStringUtil::sanitiseW( L"a/b", L"/" ), L"a_b" );
}

TEST( LiStringUtilTest, ComponentNamesAreOnesThatEveryFileSystemTakes ) {
    const std::pair<std::string, std::string> cases[] = {
        { " \tname\n", "name" },
        { "a\\b/c:d*e?f\"g<h>i|j'k[l]m", "a_b_c_d_e_f_g_h_i_j_k_l_m" },
        { std::string( "a\0b\x1f\x7f\xc2\x9f~\xc2\xa1", 10 ), "a_b___~\xc2\xa1" },
        { "two words." + umlaut, "two words." + umlaut },
        { "   ", "" },
        { "", "" },
    };
    for( const auto& [name, expected] : cases ) {
        EXPECT_EQ( LiStringUtil::sanitizeComponentName( name ), expected );
        EXPECT_EQ( LiStringUtil::checkComponentNameValidity( name ), name == expected ) << name;
        EXPECT_TRUE( LiStringUtil::checkComponentNameValidity( expected ) ) << name;
    }
}

TEST( LiStringUtilTest, UniqueNamesCountUpUntilOneIsFree ) {
    std::vector<std::string> asked;
    const auto freeAfter = [&asked]( std::size_t nbRefused ) {
        asked.clear();
        return [&asked, nbRefused]( const std::string& name ) {
            asked.push_back( name );
            return asked.size() > nbRefused;
        };
    };
    EXPECT_EQ( LiStringUtil::createUniqueName( "clip", freeAfter( 0 ) ), "clip" );
    EXPECT_EQ( LiStringUtil::createUniqueName( "clip", freeAfter( 3 ) ), "clip (3)" );
    EXPECT_THAT( asked, ::testing::ElementsAre( "clip", "clip (1)", "clip (2)", "clip (3)" ) );
    EXPECT_EQ( LiStringUtil::createUniqueName( "clip", freeAfter( 1 ), 9 ), "clip (9)" );
}

} // namespace
} // namespace Qv
