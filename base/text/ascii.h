#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// Characters and texts as ASCII sees them, whatever the locale is: bytes from 0x80 are no letters,
/// digits or blanks, and have no case. Wide characters go by the same rules.
namespace Qv::Ascii {

/// As `isspace` in the "C" locale: blank, tab, line feed, vertical tab, form feed, return.
template <class Char>
constexpr bool isSpace( Char c ) noexcept {
    return c == ' ' || ( c >= '\t' && c <= '\r' );
}

template <class Char>
constexpr bool isDigit( Char c ) noexcept {
    return c >= '0' && c <= '9';
}

template <class Char>
constexpr bool isUpper( Char c ) noexcept {
    return c >= 'A' && c <= 'Z';
}

template <class Char>
constexpr bool isLower( Char c ) noexcept {
    return c >= 'a' && c <= 'z';
}

template <class Char>
constexpr bool isLetter( Char c ) noexcept {
    return isLower( c ) || isUpper( c );
}

/// `c` as a small letter, if it is a letter of ASCII.
constexpr char toLower( char c ) noexcept {
    return isUpper( c ) ? static_cast<char>( c - 'A' + 'a' ) : c;
}

/// `c` as a capital letter, if it is a letter of ASCII.
constexpr char toUpper( char c ) noexcept {
    return isLower( c ) ? static_cast<char>( c - 'a' + 'A' ) : c;
}

/// The text with the capital letters of ASCII made small.
inline std::string toLowerCase( std::string text ) {
    std::ranges::transform( text, text.begin(), toLower );
    return text;
}

/// Whether the texts differ at most in the case of ASCII's letters.
constexpr bool equalsIgnoringCase( std::string_view left, std::string_view right ) noexcept {
    return std::ranges::equal( left, right, {}, toLower, toLower );
}

/// The text without the blanks at its beginning.
constexpr std::string_view trimFront( std::string_view text ) noexcept {
    while( !text.empty() && isSpace( text.front() ) ) {
        text.remove_prefix( 1 );
    }
    return text;
}

/// The text without the blanks at its end.
constexpr std::string_view trimBack( std::string_view text ) noexcept {
    while( !text.empty() && isSpace( text.back() ) ) {
        text.remove_suffix( 1 );
    }
    return text;
}

/// `text` without white space at its ends.
constexpr std::string_view trim( std::string_view text ) noexcept {
    return trimBack( trimFront( text ) );
}

} // namespace Qv::Ascii
