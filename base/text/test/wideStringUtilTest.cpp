#include <base/text/utf.h>
#include <base/text/wideStringUtil.h>
#include <tests/support/testSettings.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

namespace Qv {

namespace {

/// The UTF-8 form as it is defined: by ranges, in bits.
std::string encode( char32_t code ) {
    const auto byte = []( unsigned value ) { return static_cast<char>( value ); };
    const unsigned c = code;
    if( c <= 0x7f ) {
        return { byte( c ) };
    }
    if( c <= 0x7ff ) {
        return { byte( 0xc0 + c / 64 ), byte( 0x80 + c % 64 ) };
    }
    if( c <= 0xffff ) {
        return { byte( 0xe0 + c / 4096 ), byte( 0x80 + c / 64 % 64 ), byte( 0x80 + c % 64 ) };
    }
    return { byte( 0xf0 + c / 262144 ), byte( 0x80 + c / 4096 % 64 ), byte( 0x80 + c / 64 % 64 ),
             byte( 0x80 + c % 64 ) };
}

/// Bytes that are often, but not always, well-formed.
std::string randomNarrow( std::mt19937_64& random ) {
    constexpr unsigned char LIKELY[] = { 0x00, 0x41, 0x7f, 0x80, 0x9f, 0xa0, 0xbf, 0xc0, 0xc2,
                                         0xdf, 0xe0, 0xed, 0xef, 0xf0, 0xf4, 0xf5, 0xff };
    std::string result;
    for( auto pieces = random() % 12; pieces > 0; --pieces ) {
        result += random() % 4 == 0
                      ? encode( static_cast<char32_t>( random() % 0x110000 ) )
                      : std::string( 1, static_cast<char>( LIKELY[random() % sizeof( LIKELY )] ) );
    }
    return result;
}

} // namespace

template <class Unit>
class UtfTest : public testing::Test {};

using Units = testing::Types<char16_t, char32_t, wchar_t>;
TYPED_TEST_SUITE( UtfTest, Units );

TYPED_TEST( UtfTest, EveryCharacterHasItsStandardFormsInBothDirections ) {
    for( char32_t code = 0; code <= 0x10ffff; ++code ) {
        if( code == 0xd800 ) {
            code = 0xe000;
        }
        std::basic_string<TypeParam> wide;
        if( sizeof( TypeParam ) == 2 && code > 0xffff ) {
            wide += static_cast<TypeParam>( 0xd7c0 + code / 1024 );
            wide += static_cast<TypeParam>( 0xdc00 + code % 1024 );
        } else {
            wide += static_cast<TypeParam>( code );
        }
        const std::string narrow = encode( code );
        ASSERT_EQ( Utf::widen<TypeParam>( narrow ), wide ) << std::hex << unsigned( code );
        ASSERT_EQ( Utf::narrowRestoring<TypeParam>( wide ), narrow )
            << std::hex << unsigned( code );
    }
}

TYPED_TEST( UtfTest, AnyBytesComeBackUnchanged ) {
    std::mt19937_64 random( testSeed() );
    for( long i = scaledCount( 300'000 ); i > 0; --i ) {
        const std::string text = randomNarrow( random );
        const auto wide = Utf::widen<TypeParam>( text );
        ASSERT_EQ( Utf::narrowRestoring<TypeParam>( wide ), text )
            << testing::PrintToString( text );
    }
}

TYPED_TEST( UtfTest, EachMalformedByteIsEscapedAloneAndTheRestIsRead ) {
    const std::pair<std::string, std::u32string> cases[] = {
        { "a\xff"
          "b",
          { 'a', 0xdcff, 'b' } },
        // Overlong forms of "/" and of the smallest characters of each length.
        { "\xc0\xaf", { 0xdcc0, 0xdcaf } },
        { "\xe0\x9f\xbf", { 0xdce0, 0xdc9f, 0xdcbf } },
        { "\xf0\x8f\xbf\xbf", { 0xdcf0, 0xdc8f, 0xdcbf, 0xdcbf } },
        // Surrogates, also the escapes themselves.
        { "\xed\xa0\x80", { 0xdced, 0xdca0, 0xdc80 } },
        { "\xed\xb2\x80", { 0xdced, 0xdcb2, 0xdc80 } },
        // Beyond the last character.
        { "\xf4\x90\x80\x80", { 0xdcf4, 0xdc90, 0xdc80, 0xdc80 } },
        { "\xf5\x80\x80\x80", { 0xdcf5, 0xdc80, 0xdc80, 0xdc80 } },
        // Cut short, at the end and by the next character.
        { "\xf0\x9f\x98", { 0xdcf0, 0xdc9f, 0xdc98 } },
        { "\xe2\x82\xe2\x82\xac", { 0xdce2, 0xdc82, 0x20ac } },
    };
    for( const auto& [narrow, wide] : cases ) {
        const std::basic_string<TypeParam> expected( wide.begin(), wide.end() );
        // What stands behind the text is none of its business.
        const std::string followed = narrow + "\x80\x80\x80";
        const auto text = std::string_view( followed ).substr( 0, narrow.size() );
        EXPECT_EQ( Utf::widen<TypeParam>( text ), expected ) << testing::PrintToString( narrow );
    }
}

TYPED_TEST( UtfTest, WideUnitsThatAreNoCharactersBecomeTheReplacementCharacter ) {
    // A high surrogate alone, in a text and at its end; what could be the escape of a byte, were it
    // not of one that needs none.
    std::vector<std::u32string> cases{ { 0xd800, 'b' }, { 0xdbff }, { 0xdc7f }, { 0xdd00 } };
    if( sizeof( TypeParam ) == 4 ) {
        cases.insert( cases.end(), { { 0x110000 }, { 0xffffffff }, { 0xd83d } } );
    }
    for( std::u32string& units : cases ) {
        units.insert( 0, 1, 'a' );
        const std::basic_string<TypeParam> wide( units.begin(), units.end() );
        EXPECT_EQ( Utf::narrowRestoring<TypeParam>( wide ),
                   "a" + encode( 0xfffd ) + ( units.size() > 2 ? "b" : "" ) );
    }
}

TEST( WideStringUtilTest, ReplacingGivesWellFormedTextWhateverTheWideTextIs ) {
    const std::wstring odd( L"\u00e9\xdc80\xdcff\xd800\x110000!" );
    EXPECT_EQ( WideStringUtil::narrowReplace( odd, '#' ), "\xc3\xa9####!" );
    EXPECT_EQ( WideStringUtil::narrowReplace( L"\xdc80" ),
               std::string( 1, WideStringUtil::_defaultReplaceChar ) );
}

TEST( WideStringUtilTest, TakesAllFormsOfTextWithWhatTheyHold ) {
    const std::string zero( "a\0b", 3 );
    EXPECT_EQ( WideStringUtil::widen( zero ), std::wstring( L"a\0b", 3 ) );
    EXPECT_EQ( WideStringUtil::narrowMB( std::wstring( L"a\0b", 3 ) ), zero );
    EXPECT_EQ( WideStringUtil::widen( "\xe2\x82\xac" ), L"\u20ac" );
    EXPECT_EQ( WideStringUtil::widen( u"\U0001f600" ), L"\U0001f600" );
    EXPECT_EQ( WideStringUtil::narrowMB( L"\U0001f600" ), "\xf0\x9f\x98\x80" );
    EXPECT_EQ( WideStringUtil::narrowMB( u"\U0001f600" ), "\xf0\x9f\x98\x80" );
    // A byte that survived stays one on the way from 16-bit to wide text.
    EXPECT_EQ( WideStringUtil::narrowMB( WideStringUtil::widen( u"\U0001f600\xdc80" ) ),
               "\xf0\x9f\x98\x80\x80" );
}

} // namespace Qv
