#include <base/text/ascii.h>
#include <base/text/printable.h>

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <utility>

namespace Qv {
namespace {

TEST( PrintableTest, NothingThatATerminalTakesForACommandIsLeft ) {
    const std::pair<std::string, std::string> cases[] = {
        { "", "" },
        { "plain ~text 1", "plain ~text 1" },
        { "\x1b[2J\x1b]0;title\a", "?[2J?]0;title?" },
        { "a\rb\bc\fd\ve\x7f"
          "f",
          "a?b?c?d?e?f" },
        { std::string( "a\0b", 3 ), "a?b" },
        // U+009B alone begins a sequence, as does its byte for a terminal of 8 bits.
        { "\xc2\x80\xc2\x9b"
          "31m\xc2\x9f\xc2\xa0",
          "??31m?\xc2\xa0" },
        { "\x9b"
          "31m",
          "?31m" },
        // Overlong ESC, a surrogate, a character that breaks off.
        { "\xc0\x9b\xed\xa0\x80\xe2\x82", "???????" },
        { "\xc3\xa4\xe2\x82\xac\xf0\x9f\x8e\xac", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x8e\xac" },
    };
    for( const auto& [text, printed] : cases ) {
        EXPECT_EQ( Printable::makeText( text ), printed ) << text;
        EXPECT_EQ( Printable::makeLine( text ), printed ) << text;
    }
    EXPECT_EQ( Printable::makeText( "a\n\tb\x1b\n" ), "a\n\tb?\n" );
    EXPECT_EQ( Printable::makeLine( "a\n\tb\x1b\n" ), "a??b??" );
}

TEST( AsciiTest, CharactersAreThoseOfTheClassicLocale ) {
    for( int i = 0; i < 256; ++i ) {
        const char c = static_cast<char>( i );
        const bool isAscii = i < 0x80;
        EXPECT_EQ( Ascii::isSpace( c ), isAscii && std::isspace( i ) ) << i;
        EXPECT_EQ( Ascii::isDigit( c ), isAscii && std::isdigit( i ) ) << i;
        EXPECT_EQ( Ascii::isLetter( c ), isAscii && std::isalpha( i ) ) << i;
        EXPECT_EQ( Ascii::toLower( c ), isAscii ? static_cast<char>( std::tolower( i ) ) : c ) << i;
        EXPECT_EQ( Ascii::toUpper( c ), isAscii ? static_cast<char>( std::toupper( i ) ) : c ) << i;
    }
    EXPECT_EQ( Ascii::trim( " \t\v a b\r\n" ), "a b" );
    EXPECT_EQ( Ascii::trim( " \f " ), "" );
    EXPECT_TRUE( Ascii::equalsIgnoringCase( "aBc", "AbC" ) );
    EXPECT_FALSE( Ascii::equalsIgnoringCase( "ab", "abc" ) );
}

} // namespace
} // namespace Qv
